# Compiler warnings for the project's own targets. The list comes from the preset
# (VELLXML_WARNINGS) so that a plain configure without a preset stays quiet and
# portable; VELLXML_WERROR turns them into errors in the CI presets only.
set(VELLXML_WARNINGS "" CACHE STRING "Warning flags for the project's own targets")
option(VELLXML_WERROR "Treat warnings as errors" OFF)

function(vellxml_target_options target)
  separate_arguments(_warnings UNIX_COMMAND "${VELLXML_WARNINGS}")
  target_compile_options(${target} PRIVATE ${_warnings})
  if(VELLXML_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
