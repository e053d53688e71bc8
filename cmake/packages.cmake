# SPDX-License-Identifier: GPL-2.0-or-later
#
# What `cpack` makes of a build: a Debian package for everybody on a machine, and an archive to unpack in a user's own
# folder of plug-ins.
set(CPACK_PACKAGE_VENDOR ${KESTREL_COMPANY})
set(CPACK_PACKAGE_CONTACT "${KESTREL_COMPANY} <kestrelbridge@${KESTREL_COMPANY}.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "remote control of OBS Studio through a local TCP port")
set(CPACK_PACKAGE_DESCRIPTION
    "KestrelBridge is a plug-in for OBS Studio that lets controllers on the same
computer (hardware decks, scripts, command-line tools) read and drive a live
show through a TCP port on the loopback address, and tells them of every
change. kestrelctl does so from the command line.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/packagelayout.cmake)
set(CPACK_SYSTEM_NAME windows-x64)
set(CPACK_GENERATOR ZIP)

if(NOT WIN32)
  set(CPACK_SYSTEM_NAME linux-${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_GENERATOR TXZ)

  # The newest entry of the changelog, which must be this version's, tells the release's day.
  file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG.md heading REGEX "^## " LIMIT_COUNT 1)
  if(NOT heading MATCHES "^## ([0-9.]+), ([0-9-]+)$" OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
    message(FATAL_ERROR "CHANGELOG.md begins with \"${heading}\", the version is ${PROJECT_VERSION}")
  endif()
  set(release_day ${CMAKE_MATCH_2})
endif()

find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
if(NOT WIN32 AND DPKG_SHLIBDEPS)
  list(PREPEND CPACK_GENERATOR DEB)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
  set(CPACK_DEBIAN_PACKAGE_SECTION video)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # The libraries and their versions are found by themselves. What loads the module is not among them: a host of the
  # series that the module was built for, or newer.
  string(REGEX MATCH "^[0-9]+\\.[0-9]+" host_series ${libobs_VERSION})
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "obs-studio (>= ${host_series})")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

  execute_process(COMMAND date --utc --rfc-email --date=${release_day} OUTPUT_VARIABLE release_time
                          OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog @ONLY)
  kestrel_install_compressed(${PROJECT_BINARY_DIR}/debian/changelog changelog.Debian ${CMAKE_INSTALL_DOCDIR})
  configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/copyright.in ${PROJECT_BINARY_DIR}/debian/copyright @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/debian/copyright COMPONENT system DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()

include(CPack)
