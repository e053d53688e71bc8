# SPDX-License-Identifier: GPL-2.0-or-later
#
# The import library has every function of OBS's own obs-frontend-api.dll. Tests run with the fake front end instead,
# a DLL of the same name in their folder.
add_library(OBS::obs-frontend-api SHARED IMPORTED)
set_target_properties(
  OBS::obs-frontend-api
  PROPERTIES IMPORTED_LOCATION obs-frontend-api.dll
             IMPORTED_IMPLIB ${KESTREL_WINDOWS_SDK}/lib/libobs-frontend-api.a
             INTERFACE_INCLUDE_DIRECTORIES ${KESTREL_WINDOWS_SDK}/include)
