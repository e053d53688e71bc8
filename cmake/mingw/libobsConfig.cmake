# SPDX-License-Identifier: GPL-2.0-or-later
#
# The Windows build of libobs that scripts/windowstest unpacks into KESTREL_WINDOWS_SDK.
add_library(OBS::libobs SHARED IMPORTED)
set_target_properties(
  OBS::libobs
  PROPERTIES IMPORTED_LOCATION ${KESTREL_WINDOWS_SDK}/bin/obs.dll
             IMPORTED_IMPLIB ${KESTREL_WINDOWS_SDK}/lib/libobs.a
             INTERFACE_INCLUDE_DIRECTORIES ${KESTREL_WINDOWS_SDK}/include)
