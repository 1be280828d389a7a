# The inspector's exit status: 0 success, 1 a dictionary that did not load, 2 a usage error;
# failures are reported on standard error with the exception's class and message.
function(expect code)
  execute_process(COMMAND ${XSDDICT} ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL code)
    message(FATAL_ERROR "xsddict ${ARGN}: exit ${result}, expected ${code}\n${out}${err}")
  endif()
  set(last_error "${err}" PARENT_SCOPE)
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

expect(2)
expect(2 frobnicate)
expect(2 summary)
expect(2 summary a.xsd b.xsd)
expect(1 summary ${FIXTURES}/bad/malformed.xsd)
if(NOT last_error MATCHES "ParseError: Cannot parse schema file .*malformed.xsd\" at line 3" OR NOT last_output STREQUAL "")
  message(FATAL_ERROR "unexpected report: ${last_output}${last_error}")
endif()
expect(1 summary ${FIXTURES}/does-not-exist.xsd)
expect(0 summary ${FIXTURES}/order/main.xsd)

# dump and show on the bundled sample.
expect(0 dump ${SAMPLE})
if(NOT last_output MATCHES "^{\n  \"schema\": .*\"elements\": \\[\n    {\n      \"ul\": \"06\\.0e\\.2b\\.34\\.")
  message(FATAL_ERROR "unexpected dump: ${last_output}")
endif()
expect(0 show ${SAMPLE} IdentificationList)
if(NOT last_output MATCHES "kind +referenceCollection\n  data type +Array of StrongRef\n  local tag +3b.06")
  message(FATAL_ERROR "unexpected show: ${last_output}")
endif()
expect(0 show ${SAMPLE} 3c.0a)
expect(0 show ${SAMPLE} 06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00)
expect(0 show --documentation ${SAMPLE} "Instance UID")
if(NOT last_output MATCHES "Documentation +Unique identifier")
  message(FATAL_ERROR "documentation not loaded: ${last_output}")
endif()
expect(1 show ${SAMPLE} NoSuchThing)
expect(2 dump --frobnicate ${SAMPLE})

# check reports each kind of finding once, and exits 3 when there is any.
expect(3 check ${TOOLS}/fixtures/findings.xsd)
string(REPLACE "\n" ";" lines "${last_output}")
set(expected
  "label given twice: 06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00 is First and again Again"
  "local tag given twice: 10.01 is First and again Second"
  "reference to no set: the targets of Dangling name no set"
  "member naming no element: ff:Missing of set S is skipped"
  "member without ref: Local of set S is a local declaration and is skipped"
  "set without a UL Designator: Unlabelled is skipped"
  "6 findings"
  "")
if(NOT lines STREQUAL expected)
  message(FATAL_ERROR "unexpected findings:\n${last_output}")
endif()
expect(0 check ${SAMPLE})
