# Each fixture's reading (xsddict mxf --json, with the dictionary imported from the registers)
# matches the expectation beside it. Each expectation was checked once with cross-check.py:
# every item that mediainfo --Details=1 prints in a comparable form (all but the labels it names)
# equals it at the same offset, and ffprobe's stream and identification fields agree. After an
# intended change, rerun that check and replace them.
if(NOT EXISTS ${REGISTERS}/Elements.xml)
  message("no register snapshots at ${REGISTERS}: skipped")
  return()
endif()
execute_process(COMMAND ${XSDDICT} import-registers ${REGISTERS} -o ${WORK}/mxf-registers.xsd
                OUTPUT_QUIET RESULT_VARIABLE imported)
if(NOT imported EQUAL 0)
  message(FATAL_ERROR "import-registers failed")
endif()
file(GLOB fixtures RELATIVE ${MXF} ${MXF}/fixtures/*.mxf)
foreach(fixture IN LISTS fixtures)
  string(REGEX REPLACE "\\.mxf$" ".expected.json" expected ${fixture})
  execute_process(COMMAND ${XSDDICT} mxf ${fixture} --dictionary ${WORK}/mxf-registers.xsd --json
                  WORKING_DIRECTORY ${MXF} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${fixture}: exit ${result}\n${err}")
  endif()
  file(READ ${MXF}/${expected} wanted)
  if(NOT out STREQUAL wanted)
    file(WRITE ${WORK}/${expected}.actual "${out}")
    execute_process(COMMAND diff -u ${MXF}/${expected} ${WORK}/${expected}.actual OUTPUT_VARIABLE difference)
    message(FATAL_ERROR "${fixture} reads differently:\n${difference}")
  endif()
endforeach()
