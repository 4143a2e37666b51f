# Runs a piped `vellxml shell` session (SESSION) on the chip ROOT and compares what it prints with the
# golden file EXPECTED, byte for byte; UPDATE_GOLDEN=1 in the environment rewrites the golden file.
execute_process(COMMAND "${TOOL}" shell "${ROOT}" INPUT_FILE "${SESSION}"
  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
if("$ENV{UPDATE_GOLDEN}" STREQUAL "1")
  file(WRITE "${EXPECTED}" "${out}")
endif()
file(READ "${EXPECTED}" expected)
if(NOT status EQUAL 0 OR NOT err STREQUAL "")
  message(FATAL_ERROR "the session failed (${status}):\n${err}")
endif()
if(NOT out STREQUAL expected)
  file(WRITE "${OUT}" "${out}")
  execute_process(COMMAND diff -u "${EXPECTED}" "${OUT}")
  message(FATAL_ERROR "the session's output differs from ${EXPECTED}")
endif()
