# The inspector's dump of the bundled sample matches the reviewed dump checked in beside this
# script. After an intended change, review the new dump and replace the expected one.
execute_process(COMMAND ${XSDDICT} dump mxf-header.xsd WORKING_DIRECTORY ${SAMPLES}
                RESULT_VARIABLE result OUTPUT_FILE ${OUTPUT} ERROR_VARIABLE error)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "xsddict dump failed (${result}): ${error}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUTPUT} ${EXPECTED} RESULT_VARIABLE different)
if(different)
  execute_process(COMMAND diff -u ${EXPECTED} ${OUTPUT} OUTPUT_VARIABLE difference)
  message(FATAL_ERROR "the dump differs from ${EXPECTED}:\n${difference}")
endif()
