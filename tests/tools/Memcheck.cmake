# The inspector under valgrind memcheck: no memory error and no leak, on the register
# dictionary in both forms, on refusals that leave through the parser, the loader and the XPath
# engine, and on a threaded MXF run with the built-in dictionary.
find_program(VALGRIND valgrind)
if(NOT VALGRIND)
  message("valgrind not installed: skipped")
  return()
endif()
set(files ${SAMPLE} ${BROKEN}/entity-expansion.xsd ${BROKEN}/missing-set-type.xsd ${BROKEN}/quote-in-name.xsd
          ${BROKEN}/bad-default.xsd)
list(APPEND files ${DATA}/registers.xsd ${DATA}/registers.xsdc)
set(runs)
foreach(file IN LISTS files)
  list(APPEND runs "summary|${file}")
endforeach()
# Fixtures and a file refused, on two threads.
list(APPEND runs "mxf|--json|-j|2|${MXF}/fixtures|${MXF}/fixtures/tiny.xsd")
foreach(run IN LISTS runs)
  string(REPLACE "|" " " shown "${run}")
  string(REPLACE "|" ";" run "${run}")
  execute_process(COMMAND ${VALGRIND} --quiet --leak-check=full --show-leak-kinds=all
                          --errors-for-leak-kinds=definite,indirect,possible,reachable --error-exitcode=99
                          --suppressions=${CMAKE_CURRENT_LIST_DIR}/dynamic-loader.supp
                          ${XSDDICT} ${run}
                  RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE report)
  if(result EQUAL 99)
    message(FATAL_ERROR "memcheck found errors or leaks in xsddict ${shown}:\n${report}")
  endif()
  if(shown MATCHES "^mxf" AND NOT result EQUAL 4)
    message(FATAL_ERROR "xsddict ${shown}: exit ${result}, where one file is refused\n${report}")
  endif()
endforeach()
