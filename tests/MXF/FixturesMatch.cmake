# Each fixture's reading (xsddict mxf --json) matches the expectation beside it, with the
# built-in dictionary and with the register dictionary given in either form (DATA). Each
# expectation was checked once with cross-check.py: every item that mediainfo --Details=1
# prints in a comparable form (all but the labels it names) equals it at the same offset, and
# ffprobe's stream and identification fields agree. After an intended change, rerun that check
# and replace them.
file(GLOB fixtures RELATIVE ${MXF} ${MXF}/fixtures/*.mxf)
foreach(fixture IN LISTS fixtures)
  string(REGEX REPLACE "\\.mxf$" ".expected.json" expected ${fixture})
  file(READ ${MXF}/${expected} wanted)
  foreach(dictionary "" ${DATA}/registers.xsd ${DATA}/registers.xsdc)
    set(given)
    if(dictionary)
      set(given --dictionary ${dictionary})
    endif()
    execute_process(COMMAND ${XSDDICT} mxf ${fixture} ${given} --json
                    WORKING_DIRECTORY ${MXF} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
      message(FATAL_ERROR "${fixture} ${given}: exit ${result}\n${err}")
    endif()
    if(NOT out STREQUAL wanted)
      file(WRITE ${WORK}/${expected}.actual "${out}")
      execute_process(COMMAND diff -u ${MXF}/${expected} ${WORK}/${expected}.actual OUTPUT_VARIABLE difference)
      message(FATAL_ERROR "${fixture} ${given} reads differently:\n${difference}")
    endif()
  endforeach()
  # Walked, every KLV of it holds together: no refusal and no finding.
  execute_process(COMMAND ${XSDDICT} mxf ${fixture} --walk WORKING_DIRECTORY ${MXF}
                  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0 OR NOT out MATCHES "\nwalk: [0-9]+ KLVs")
    message(FATAL_ERROR "${fixture} --walk: exit ${result}\n${out}${err}")
  endif()
endforeach()
