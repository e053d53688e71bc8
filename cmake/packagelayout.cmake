# SPDX-License-Identifier: GPL-2.0-or-later
#
# Read by cpack before it makes a package: which of the two layouts goes into it.
if(CPACK_GENERATOR STREQUAL DEB)
  set(layout system)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
else()
  set(layout user)
  set(CPACK_PACKAGING_INSTALL_PREFIX /)
  set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY OFF)
endif()
list(POP_FRONT CPACK_INSTALL_CMAKE_PROJECTS build_folder)
set(CPACK_INSTALL_CMAKE_PROJECTS ${build_folder} kestrelbridge ${layout} /)
set(CPACK_MONOLITHIC_INSTALL ON)
