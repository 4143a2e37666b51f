cmake_minimum_required(VERSION 3.22)
# Script mode: build a consumer against the installed package, run it, then run the installed tool. Both
# programs run with an empty environment: the installed files must find each other by themselves.
set(prefix "${PREFIX}")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}/build")
run(${CMAKE_COMMAND} -S "${CONSUMER_SOURCE_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
  "-DCMAKE_PREFIX_PATH=${prefix}"
  "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
  "-DCMAKE_C_COMPILER=${C_COMPILER}"
  "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
  "-DCMAKE_EXE_LINKER_FLAGS=${EXE_LINKER_FLAGS}"
  "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
  "-DEXPECTED_QT_MAJOR=${QT_MAJOR}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
# The consumer is built with the install tree's run path (CMake's default for a build tree program is an
# absolute one to the prefix, which is where the installed libraries are).
run(env -i "${WORK_DIR}/build/consumer")
if(NOT last_output STREQUAL "2*(3+4) = 14\n$uart.cfg at 0x40010004 = 0x20, mode = 2\nfile.open\n")
  message(FATAL_ERROR "unexpected consumer output: '${last_output}'")
endif()

# The installed tool finds its libraries through its relative run path.
run(env -i "${prefix}/bin/vellxml" --help)
if(NOT last_output MATCHES "Usage: vellxml")
  message(FATAL_ERROR "unexpected help of the installed tool: '${last_output}'")
endif()
run(env -i "${prefix}/bin/vellxml" check "${DEMO_DIR}/chip.xml")
if(NOT last_output MATCHES ": ok, ")
  message(FATAL_ERROR "the installed tool did not load the demo chip: '${last_output}'")
endif()
