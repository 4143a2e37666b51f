# Script mode: install, build a consumer against the installed package, run it.
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install "${VELLXML_BUILD_DIR}" --prefix "${prefix}")

# Nothing private may be installed.
file(GLOB_RECURSE private_headers "${prefix}/include/*_p.h")
if(private_headers)
  message(FATAL_ERROR "private headers were installed: ${private_headers}")
endif()
# The maker's library name belongs to the maker: a debugger loading it must never find the simulator.
file(GLOB_RECURSE maker_named "${prefix}/*libvellhost_library*")
if(maker_named)
  message(FATAL_ERROR "installed under the maker's library name: ${maker_named}")
endif()

run(${CMAKE_COMMAND} -S "${CONSUMER_SOURCE_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
  "-DCMAKE_PREFIX_PATH=${prefix}"
  "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
  "-DCMAKE_C_COMPILER=${C_COMPILER}"
  "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
  "-DCMAKE_EXE_LINKER_FLAGS=${EXE_LINKER_FLAGS}"
  "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
  "-DEXPECTED_QT_MAJOR=${QT_MAJOR}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")
if(NOT last_output STREQUAL "2*(3+4) = 14\n$uart.cfg at 0x40010004 = 0x20, mode = 2\n")
  message(FATAL_ERROR "unexpected consumer output: '${last_output}'")
endif()
