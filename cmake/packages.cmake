# SPDX-License-Identifier: GPL-2.0-or-later
#
# What `cpack` makes of a build: a Debian package for all users of a machine, and an archive to unpack in one user's
# folder of plug-ins.
set(CPACK_PACKAGE_VENDOR ${KESTREL_COMPANY})
set(CPACK_PACKAGE_CONTACT "${KESTREL_COMPANY} <kestrelbridge@${KESTREL_COMPANY}.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "remote control of OBS Studio through a local TCP port")
set(CPACK_PACKAGE_DESCRIPTION
    "KestrelBridge is a plug-in for OBS Studio that lets controllers on the same
computer (hardware decks, scripts, command-line tools) read and control a live
show through a TCP port on the loopback address, and pushes every change to
them. kestrelctl is a controller for the command line.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/packagelayout.cmake)
set(CPACK_SYSTEM_NAME windows-x64)
set(CPACK_GENERATOR ZIP)

if(NOT WIN32)
  set(CPACK_SYSTEM_NAME linux-${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_GENERATOR TXZ)

  # The newest release in the changelog, which must be this version's, has the release's date.
  file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG.md heading REGEX "^## [0-9]" LIMIT_COUNT 1)
  if(NOT heading MATCHES "^## ([0-9.]+), ([0-9-]+)$" OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
    message(FATAL_ERROR "the newest release in CHANGELOG.md is \"${heading}\", the version is ${PROJECT_VERSION}")
  endif()
  set(release_day ${CMAKE_MATCH_2})

  # What software centres show. The name is the one that an extension of OBS's Flatpak has.
  set(KESTREL_APPSTREAM_ID com.obsproject.Studio.Plugin.KestrelBridge)
  set(metainfo ${PROJECT_BINARY_DIR}/plugin/${KESTREL_APPSTREAM_ID}.metainfo.xml)
  configure_file(${PROJECT_SOURCE_DIR}/plugin/data/metainfo.xml.in ${metainfo} @ONLY)
  install(FILES ${metainfo} COMPONENT system DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
endif()

find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
if(NOT WIN32 AND DPKG_SHLIBDEPS)
  list(PREPEND CPACK_GENERATOR DEB)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
  set(CPACK_DEBIAN_PACKAGE_SECTION video)
  set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${PROJECT_HOMEPAGE_URL})
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # dpkg-shlibdeps finds the libraries and their versions. OBS itself, which loads the module, is not among them: the
  # series that the module was built for or newer, and not the older packages of Debian and Ubuntu that are built on
  # Qt 5, in which the module would stay inactive.
  set(oldest_series 30.2)
  string(REGEX MATCH "^[0-9]+\\.[0-9]+" series ${libobs_VERSION})
  if(series VERSION_LESS oldest_series)
    set(series ${oldest_series})
  endif()
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "obs-studio (>= ${series})")
  set(CPACK_DEBIAN_PACKAGE_SUGGESTS python3) # only scripts that import the module kestrelbridge need it
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

  execute_process(COMMAND date --utc --rfc-email --date=${release_day} OUTPUT_VARIABLE release_time
                          OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(debian ${PROJECT_BINARY_DIR}/debian)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${debian}/changelog @ONLY)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/copyright.in ${debian}/copyright @ONLY)
  kestrel_compress(${debian}/changelog changelog.Debian)
  install(FILES ${PROJECT_BINARY_DIR}/changelog.Debian.gz ${debian}/copyright COMPONENT system
          DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/debian/lintian-overrides COMPONENT system
          DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME kestrelbridge)
endif()

include(CPack)
