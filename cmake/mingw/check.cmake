# SPDX-License-Identifier: GPL-2.0-or-later
#
# Toolchain file with which scripts/windowscheck compiles the plug-in for Windows on a Debian machine, against the
# headers of that machine's own Qt and host.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(native_packages /usr/lib/x86_64-linux-gnu/cmake)
set(QT_HOST_PATH /usr)
set(QT_HOST_PATH_CMAKE_DIR ${native_packages})
foreach(package Qt6 libobs obs-frontend-api)
  set(${package}_DIR ${native_packages}/${package})
endforeach()

function(kestrel_adapt_native_packages)
  if(NOT TARGET OBS::libobs) # one of CMake's own trials of the compiler
    return()
  endif()
  # Their shared objects are of no use to this linker. It looks for every function of theirs in one import library,
  # which windowscheck writes once it knows what the objects ask for.
  foreach(target Qt6::Core Qt6::Gui Qt6::Network Qt6::Widgets OBS::libobs OBS::obs-frontend-api)
    set_target_properties(${target} PROPERTIES IMPORTED_IMPLIB ${CMAKE_BINARY_DIR}/import.a)
  endforeach()
  # /usr/include itself, with the native C library's headers, must not come before the compiler's own.
  if(TARGET WrapVulkanHeaders::WrapVulkanHeaders)
    set_target_properties(WrapVulkanHeaders::WrapVulkanHeaders PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "")
  endif()
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/include)
  file(CREATE_LINK /usr/include/simde ${CMAKE_BINARY_DIR}/include/simde SYMBOLIC)
  set_property(TARGET OBS::libobs APPEND PROPERTY INTERFACE_INCLUDE_DIRECTORIES ${CMAKE_BINARY_DIR}/include)
endfunction()
cmake_language(DEFER CALL kestrel_adapt_native_packages)
