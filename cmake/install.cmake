# SPDX-License-Identifier: GPL-2.0-or-later
#
# Where everything goes. Two layouts, as the host looks for its modules in two places:
#
#   cmake --install BUILD --prefix /usr                  for everybody, where the host itself is installed
#   cmake --install BUILD --component user --prefix DIR  for oneself, DIR is the host's folder "plugins" in the user's
#                                                        settings
include(GNUInstallDirs)

set(manifest ${PROJECT_BINARY_DIR}/plugin/data/manifest.json)

install(TARGETS kestrelbridge COMPONENT user EXCLUDE_FROM_ALL DESTINATION kestrelbridge/bin/64bit)
install(FILES ${manifest} COMPONENT user EXCLUDE_FROM_ALL DESTINATION kestrelbridge/data)
if(WIN32)
  return() # the host looks nowhere else there
endif()

install(TARGETS kestrelbridge COMPONENT system DESTINATION ${CMAKE_INSTALL_LIBDIR}/obs-plugins)
install(FILES ${manifest} COMPONENT system DESTINATION ${CMAKE_INSTALL_DATADIR}/obs/obs-plugins/kestrelbridge)

# Documents are installed compressed, without the time of day, so that equal builds give equal packages.
function(kestrel_install_compressed file name folder)
  set(compressed ${PROJECT_BINARY_DIR}/${name}.gz)
  add_custom_command(
    OUTPUT ${compressed}
    COMMAND sh -c "gzip -9n <'${file}' >'${compressed}'"
    DEPENDS ${file}
    VERBATIM)
  add_custom_target(compressed_${name} ALL DEPENDS ${compressed})
  install(FILES ${compressed} COMPONENT system DESTINATION ${folder})
endfunction()

kestrel_install_compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog ${CMAKE_INSTALL_DOCDIR})

if(KESTREL_TOOLS)
  set(completions ${PROJECT_SOURCE_DIR}/tools/completions)
  install(TARGETS kestrelctl COMPONENT system DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${completions}/kestrelctl COMPONENT system
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES ${completions}/_kestrelctl COMPONENT system DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES ${completions}/kestrelctl.fish COMPONENT system
          DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  kestrel_install_compressed(${PROJECT_SOURCE_DIR}/docs/kestrelctl.1 kestrelctl.1 ${CMAKE_INSTALL_MANDIR}/man1)
endif()
