# The inspector under valgrind memcheck: no memory error and no leak, on the register
# dictionary and on refusals that leave through the parser, the loader and the XPath engine.
find_program(VALGRIND valgrind)
if(NOT VALGRIND)
  message("valgrind not installed: skipped")
  return()
endif()
set(files ${SAMPLE} ${BROKEN}/entity-expansion.xsd ${BROKEN}/missing-set-type.xsd ${BROKEN}/quote-in-name.xsd
          ${BROKEN}/bad-default.xsd)
if(EXISTS ${REGISTERS}/Elements.xml)
  execute_process(COMMAND ${XSDDICT} import-registers ${REGISTERS} -o ${WORK}/registers.xsd OUTPUT_QUIET
                  RESULT_VARIABLE imported)
  if(NOT imported EQUAL 0)
    message(FATAL_ERROR "import-registers failed")
  endif()
  list(APPEND files ${WORK}/registers.xsd)
else()
  message("no register snapshots at ${REGISTERS}: the register dictionary is skipped")
endif()
foreach(file IN LISTS files)
  execute_process(COMMAND ${VALGRIND} --quiet --leak-check=full --show-leak-kinds=all
                          --errors-for-leak-kinds=definite,indirect,possible,reachable --error-exitcode=99
                          --suppressions=${CMAKE_CURRENT_LIST_DIR}/dynamic-loader.supp
                          ${XSDDICT} summary ${file}
                  RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE report)
  if(result EQUAL 99)
    message(FATAL_ERROR "memcheck found errors or leaks loading ${file}:\n${report}")
  endif()
endforeach()
