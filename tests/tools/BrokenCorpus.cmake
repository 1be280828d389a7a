# The inspector on every dictionary of the broken corpus: a bad file gives the file, the
# exception class and the message on standard error, exit status 1, and nothing at all on
# standard output (no partial dump); a file that loads gives exit status 0.
file(STRINGS ${BROKEN}/expected.txt lines)
foreach(line IN LISTS lines)
  if(line MATCHES "^#" OR line STREQUAL "")
    continue()
  endif()
  string(REPLACE "|" ";" fields "${line}")
  list(GET fields 0 file)
  list(GET fields 1 class)
  string(STRIP "${file}" file)
  string(STRIP "${class}" class)
  execute_process(COMMAND ${XSDDICT} dump ${BROKEN}/${file} RESULT_VARIABLE result OUTPUT_VARIABLE out
                  ERROR_VARIABLE err)
  if(class STREQUAL "loads")
    if(NOT result EQUAL 0)
      message(FATAL_ERROR "${file}: exit ${result}, expected 0\n${err}")
    endif()
    continue()
  endif()
  # One line, whatever the message.
  if(NOT result EQUAL 1 OR NOT out STREQUAL "" OR NOT err MATCHES "^xsddict: [^\n]*${file}: ${class}: [^\n]*\n$")
    message(FATAL_ERROR "${file}: exit ${result}, expected 1 with \"${class}\" on standard error\n"
                        "standard output: ${out}\nstandard error: ${err}")
  endif()
endforeach()
