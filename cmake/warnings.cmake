# SPDX-License-Identifier: GPL-2.0-or-later

# What every target of ours is compiled with.
add_library(kestrel_options INTERFACE)
target_include_directories(kestrel_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(
  kestrel_options
  INTERFACE QT_NO_CAST_FROM_ASCII
            QT_NO_CAST_TO_ASCII
            QT_NO_FOREACH
            QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
            QT_NO_JAVA_STYLE_ITERATORS
            # Otherwise each binary refers to a symbol of the Qt minor version that it was built with, used or not.
            QT_NO_VERSION_TAGGING)
if(NOT MSVC)
  target_compile_options(
    kestrel_options
    INTERFACE -Wall
              -Wextra
              -Wshadow
              -Wnon-virtual-dtor
              -Woverloaded-virtual
              -Wcast-qual
              -Wunused
              -Wformat=2
              -Wno-format-nonliteral)
endif()

set(KESTREL_SANITIZE "" CACHE STRING "Sanitizers, as in -fsanitize=address,undefined")
if(KESTREL_SANITIZE)
  add_compile_options(-fsanitize=${KESTREL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KESTREL_SANITIZE})
endif()

# The host's libraries, their headers treated as the system's.
add_library(kestrel_host INTERFACE)
target_link_libraries(kestrel_host INTERFACE OBS::libobs OBS::obs-frontend-api)
foreach(target OBS::libobs OBS::obs-frontend-api)
  get_target_property(folders ${target} INTERFACE_INCLUDE_DIRECTORIES)
  target_include_directories(kestrel_host SYSTEM INTERFACE ${folders})
endforeach()
