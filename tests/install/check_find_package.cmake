# Installs the library into a scratch prefix, builds the example client against it with
# find_package, and runs the client.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "command failed (${result}): ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=address,undefined")
endif()
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/client -B ${WORK_DIR}/client -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_FLAGS=${flags} -DCMAKE_BUILD_TYPE=Debug)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/client)
run(${WORK_DIR}/client/vrx-example-client)
if(NOT last_output MATCHES "graphFinalize")
  message(FATAL_ERROR "the client ran but the backend was never finalized:\n${last_output}")
endif()
message(STATUS "installed package found and used:\n${last_output}")
