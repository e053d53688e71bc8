# SPDX-License-Identifier: GPL-2.0-or-later
#
# Two layouts, because OBS looks for its modules in two places:
#
#   cmake --install BUILD --component system --prefix /usr   for all users, into the folders of OBS itself
#   cmake --install BUILD --component user --prefix DIR      for one user, into DIR/kestrelbridge, where DIR is the folder
#                                                            "plugins" in the user's OBS settings
include(GNUInstallDirs)

set(data ${PROJECT_BINARY_DIR}/plugin/data/)
set(guide ${PROJECT_SOURCE_DIR}/docs/protocol.md ${PROJECT_SOURCE_DIR}/docs/protocol.schema.json)
set(examples ${PROJECT_SOURCE_DIR}/docs/examples)

# In the user layout kestrelbridge is a prefix of its own beside what OBS reads: programs in bin, their data in share,
# where shells and man look for them once bin is in the PATH.
set(user_prefix kestrelbridge)
install(TARGETS kestrelbridge COMPONENT user EXCLUDE_FROM_ALL DESTINATION ${user_prefix}/bin/64bit)
install(DIRECTORY ${data} COMPONENT user EXCLUDE_FROM_ALL DESTINATION ${user_prefix}/data)
install(FILES ${guide} ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/LICENSE COMPONENT user EXCLUDE_FROM_ALL
        DESTINATION ${user_prefix}/${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${examples} COMPONENT user EXCLUDE_FROM_ALL DESTINATION ${user_prefix}/${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/client/python/kestrelbridge.py COMPONENT user EXCLUDE_FROM_ALL
        DESTINATION ${user_prefix}/${CMAKE_INSTALL_DOCDIR}/examples) # beside the examples, which import it
if(KESTREL_TOOLS)
  install(TARGETS kestrelctl COMPONENT user EXCLUDE_FROM_ALL DESTINATION ${user_prefix}/${CMAKE_INSTALL_BINDIR})
endif()
if(WIN32)
  if(KESTREL_TOOLS)
    # Windows does not find OBS's own Qt for a program in another folder.
    install(FILES $<TARGET_FILE:Qt6::Core> $<TARGET_FILE:Qt6::Network> COMPONENT user EXCLUDE_FROM_ALL
            DESTINATION ${user_prefix}/${CMAKE_INSTALL_BINDIR})
  endif()
  configure_file(packaging/windows/kestrelbridge.iss.in kestrelbridge.iss @ONLY)
  return() # OBS has one place for modules there, and the rest is for Unix shells
endif()

# Compressed without a time stamp, so that equal builds give equal packages.
function(kestrel_compress file name)
  set(compressed ${PROJECT_BINARY_DIR}/${name}.gz)
  add_custom_command(
    OUTPUT ${compressed}
    COMMAND sh -c "gzip -9n <'${file}' >'${compressed}'"
    DEPENDS ${file}
    VERBATIM)
  add_custom_target(compressed_${name} ALL DEPENDS ${compressed})
endfunction()

install(TARGETS kestrelbridge COMPONENT system DESTINATION ${CMAKE_INSTALL_LIBDIR}/obs-plugins)
install(DIRECTORY ${data} COMPONENT system DESTINATION ${CMAKE_INSTALL_DATADIR}/obs/obs-plugins/kestrelbridge)
kestrel_compress(${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog)
install(FILES ${guide} ${PROJECT_BINARY_DIR}/changelog.gz COMPONENT system DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${examples} COMPONENT system DESTINATION ${CMAKE_INSTALL_DOCDIR})

install(FILES ${PROJECT_SOURCE_DIR}/client/python/kestrelbridge.py COMPONENT system
        DESTINATION lib/python3/dist-packages)

if(KESTREL_TOOLS)
  install(TARGETS kestrelctl COMPONENT system DESTINATION ${CMAKE_INSTALL_BINDIR})

  function(kestrel_install_data file folder)
    install(FILES ${file} COMPONENT system DESTINATION ${folder})
    install(FILES ${file} COMPONENT user EXCLUDE_FROM_ALL DESTINATION ${user_prefix}/${folder})
  endfunction()
  set(completions ${PROJECT_SOURCE_DIR}/tools/completions)
  kestrel_compress(${PROJECT_SOURCE_DIR}/docs/kestrelctl.1 kestrelctl.1)
  kestrel_install_data(${PROJECT_BINARY_DIR}/kestrelctl.1.gz ${CMAKE_INSTALL_MANDIR}/man1)
  kestrel_install_data(${completions}/kestrelctl ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  kestrel_install_data(${completions}/_kestrelctl ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  kestrel_install_data(${completions}/kestrelctl.fish ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()
