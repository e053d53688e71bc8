# SPDX-License-Identifier: GPL-2.0-or-later
#
#   cmake -P cmake/windowsdependencies.cmake
#
# Brings what a build for Windows needs into the folder .deps, at the versions that buildspec.json names: OBS's own
# builds of Qt and of its libraries, and OBS's development files, built from its sources. The preset
# windows-x64 looks for them there.
cmake_minimum_required(VERSION 3.22)

set(source ${CMAKE_CURRENT_LIST_DIR}/..)
set(prefix ${source}/.deps)
set(platform windows-x64)
file(READ ${source}/buildspec.json buildspec)

# Downloads FILE of a dependency, checks it, and unpacks it into FOLDER.
function(fetch dependency file folder)
  string(JSON address GET "${buildspec}" dependencies ${dependency} baseUrl)
  string(JSON hash GET "${buildspec}" dependencies ${dependency} hashes ${platform})
  string(JSON label GET "${buildspec}" dependencies ${dependency} label)
  message(STATUS "${label}: ${file}")
  file(DOWNLOAD ${address}/${file} ${prefix}/${dependency}.archive EXPECTED_HASH SHA256=${hash})
  file(ARCHIVE_EXTRACT INPUT ${prefix}/${dependency}.archive DESTINATION ${folder})
endfunction()

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(dependency prebuilt qt6 obs-studio)
  string(JSON ${dependency}_version GET "${buildspec}" dependencies ${dependency} version)
endforeach()
fetch(prebuilt ${prebuilt_version}/windows-deps-${prebuilt_version}-x64.zip ${prefix})
fetch(qt6 ${qt6_version}/windows-deps-qt6-${qt6_version}-x64.zip ${prefix})
fetch(obs-studio ${obs-studio_version}.zip ${prefix})

set(host ${prefix}/obs-studio-${obs-studio_version})
run(${CMAKE_COMMAND} -S ${host} -B ${host}/build -G "Visual Studio 17 2022" -A x64 -DENABLE_PLUGINS=OFF
    -DENABLE_FRONTEND=OFF -DOBS_CMAKE_VERSION=3.0.0 -DOBS_VERSION_OVERRIDE=${obs-studio_version}
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${host}/build --target obs-frontend-api --config Release --parallel)
run(${CMAKE_COMMAND} --install ${host}/build --component Development --config Release --prefix ${prefix})
