# SPDX-License-Identifier: GPL-2.0-or-later
#
# Installs the client library into an empty folder, builds the example against it and runs it without a plug-in to
# connect to. cmake -DBUILD=... -DEXAMPLE=... -DWORK=... -P
function(run)
  execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE status)
  if(status)
    message(FATAL_ERROR "${ARGV}: ${status}\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/home)
run(${CMAKE_COMMAND} --install ${BUILD} --component development --prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} -G Ninja -S ${EXAMPLE} -B ${WORK}/build -DCMAKE_PREFIX_PATH=${WORK}/prefix)
run(${CMAKE_COMMAND} --build ${WORK}/build)

# A port that no plug-in listens on, as the file's own bounds are 1 and 65353.
file(WRITE ${WORK}/home/corvane/Wrenlink/config.json "{\"port\": 1}")
set(ENV{XDG_DATA_HOME} ${WORK}/home)
execute_process(COMMAND ${WORK}/build/programscene ERROR_VARIABLE error RESULT_VARIABLE status)
if(NOT status EQUAL 1 OR NOT error MATCHES "no connection to OBS: Connection refused")
  message(FATAL_ERROR "ended with ${status}: ${error}")
endif()
