# The round trip of a chip through CMSIS-SVD: export, validate against the schema, import, and compare the
# digests (tests/svd/digest.h). The chip is either a description root (ROOT) or the archive set that an
# import made of a vendor file (IMPORTED, a directory). The original's digest is taken with --svd-names:
# the names and elements as an SVD file can hold them (docs/svd.md).
# -DTOOL= -DDIGEST= -DXMLLINT= -DSCHEMA= -DWORK= and -DROOT= or -DIMPORTED=

# The root file of an imported archive set: its only top-level .xml file.
function(find_root dir out)
  file(GLOB roots "${dir}/*.xml")
  list(LENGTH roots count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "expected one root .xml file in ${dir}, found: ${roots}")
  endif()
  set(${out} "${roots}" PARENT_SCOPE)
endfunction()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed (${status}): ${ARGN}\n${out}\n${err}")
  endif()
endfunction()

if(IMPORTED)
  find_root("${IMPORTED}" ROOT)
endif()
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")

run("${TOOL}" export-svd "${ROOT}" -o "${WORK}/export.svd" --quiet)
run("${XMLLINT}" --noout --schema "${SCHEMA}" "${WORK}/export.svd")
run("${TOOL}" import-svd "${WORK}/export.svd" -o "${WORK}/import")
find_root("${WORK}/import" REIMPORTED)

execute_process(COMMAND "${DIGEST}" --svd-names "${ROOT}" OUTPUT_FILE "${WORK}/original.digest" RESULT_VARIABLE a)
execute_process(COMMAND "${DIGEST}" "${REIMPORTED}" OUTPUT_FILE "${WORK}/reimported.digest" RESULT_VARIABLE b)
if(NOT a EQUAL 0 OR NOT b EQUAL 0)
  message(FATAL_ERROR "a digest failed: original ${a}, re-imported ${b}")
endif()
execute_process(COMMAND diff -u "${WORK}/original.digest" "${WORK}/reimported.digest"
  RESULT_VARIABLE different OUTPUT_VARIABLE diff)
if(different)
  string(SUBSTRING "${diff}" 0 4000 diff)
  message(FATAL_ERROR "the re-imported chip differs from the original:\n${diff}")
endif()
