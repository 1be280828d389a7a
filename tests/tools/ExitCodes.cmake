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
if(NOT last_error MATCHES "ParseError: Cannot parse schema file .*malformed.xsd\" at line 3" OR NOT last_output STREQUAL ""
   OR last_error MATCHES "raised at")
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

# check reports each kind of finding once, with its file and line, and exits 3 when there is any.
expect(3 check ${TOOLS}/fixtures/findings.xsd)
set(f "${TOOLS}/fixtures/findings.xsd")
string(CONCAT expected
  "${f}:6: label-given-twice: Element Again has the label 06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00 of element First; lookups by label give First (First is at ${f}:4)\n"
  "${f}:8: local-tag-given-twice: Element Second has the local tag 10.01 of element First; the tag stays First's (First is at ${f}:4)\n"
  "${f}:10: local-tag-given-twice: Element AgainTagged gives the label 06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00 the local tag 10.02, but it has 10.01 already, which stays (First is at ${f}:4)\n"
  "${f}:10: label-given-twice: Element AgainTagged has the label 06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00 of element First; lookups by label give First (First is at ${f}:4)\n"
  "${f}:12: reference-to-no-set: The targets of reference Dangling name no set\n"
  "${f}:33: abstract-targets-only: Every set that reference ToAbstract may point to is abstract (A): no set in a file can be its target (A is at ${f}:31)\n"
  "${f}:18: member-naming-no-element: Member ff:Missing of set T names no registered element and is skipped\n"
  "${f}:19: member-without-ref: Member Local of set T is declared in place, not by ref, and is skipped\n"
  "${f}:22: set-key-given-twice: Set S has the key 06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.01.00 of set T; the dictionary keeps S, in T's place (T is at ${f}:25)\n"
  "${f}:23: set-without-ul-designator: Set Unlabelled has no \"UL Designator\" and is skipped\n"
  "${f}:36: substitution-group-cycle: Substitution groups form a cycle: C1 -> C2 -> C1; C1 is reachable from itself (C2 is at ${f}:37)\n"
  "11 findings\n")
if(NOT last_output STREQUAL expected)
  message(FATAL_ERROR "unexpected findings:\n${last_output}")
endif()
expect(3 check --json ${TOOLS}/fixtures/findings.xsd)
if(NOT last_output MATCHES "\"rule\": \"set-key-given-twice\", [^\n]*\"line\": 22, [^\n]*\"other\": \"T\", [^\n]*\"otherLine\": 25}" OR NOT last_output MATCHES "\"count\": 11\n}")
  message(FATAL_ERROR "unexpected JSON findings:\n${last_output}")
endif()
expect(0 check ${SAMPLE})
if(NOT last_output STREQUAL "0 findings\n")
  message(FATAL_ERROR "unexpected findings on the sample:\n${last_output}")
endif()
expect(0 summary --json ${SAMPLE})
if(NOT last_output MATCHES "\"elements\": {\"total\": 60, \"simple\": 48, [^\n]*},\n  \"sets\": 17,\n  \"attributes\": 120,")
  message(FATAL_ERROR "unexpected JSON summary:\n${last_output}")
endif()

# Usage errors: one line saying what is wrong and where help is, exit 2; help and version on
# standard output.
foreach(args "" "frobnicate" "summary" "summary;a.xsd;b.xsd" "dump;--json;${SAMPLE}"
        "summary;--documentation;${SAMPLE}" "check;--frobnicate;${SAMPLE}" "import-registers;dir"
        "import-registers;dir;-o" "mxf" "mxf;file.mxf;--dictionary" "mxf;-j;0;file.mxf"
        "mxf;-j;1025;file.mxf" "mxf;-j;two;file.mxf" "compile;${SAMPLE}" "compile;--json;${SAMPLE};-o;x"
        "summary;--walk;${SAMPLE}")
  expect(2 ${args})
  if(NOT last_error MATCHES "^xsddict: [^\n]+; see 'xsddict ([a-z-]+ )?--help'\n$" OR NOT last_output STREQUAL "")
    message(FATAL_ERROR "xsddict ${args}: not a one-line usage error:\n${last_output}${last_error}")
  endif()
endforeach()
expect(0 -h)
if(NOT last_output MATCHES "^usage: xsddict COMMAND" OR last_output MATCHES "copies" OR NOT last_output MATCHES "\n  mxf FILE.mxf")
  message(FATAL_ERROR "unexpected help:\n${last_output}")
endif()
# A command's own help, asked either way, gives its usage, options and examples, and no other
# command's options.
foreach(args "mxf;--help" "help;mxf" "mxf;-h;file.mxf")
  expect(0 ${args})
  if(NOT last_output MATCHES "^usage: xsddict mxf \\[OPTIONS\\] FILE.mxf\\|DIR...\n" OR
     NOT last_output MATCHES "\n  --walk  " OR NOT last_output MATCHES "\nexamples:\n  xsddict mxf " OR
     last_output MATCHES "--in-place" OR NOT last_error STREQUAL "")
    message(FATAL_ERROR "xsddict ${args}: unexpected help:\n${last_output}${last_error}")
  endif()
endforeach()
expect(0 help)
if(NOT last_output MATCHES "^usage: xsddict COMMAND")
  message(FATAL_ERROR "unexpected help:\n${last_output}")
endif()
# The hidden option stays out of its command's help.
expect(0 import-registers --help)
if(last_output MATCHES "copies" OR NOT last_output MATCHES "\n  -o FILE  ")
  message(FATAL_ERROR "unexpected help:\n${last_output}")
endif()
# A slip names the nearest option or command; an option of another command says so; one far
# from every option is only unknown.
function(usage_error message)
  expect(2 ${ARGN})
  if(NOT last_error MATCHES "^xsddict: ${message}\n$")
    message(FATAL_ERROR "xsddict ${ARGN}: ${last_error}")
  endif()
endfunction()
usage_error("unknown option \"--jsn\" \\(did you mean --json\\?\\); see 'xsddict mxf --help'" mxf --jsn file.mxf)
usage_error("unknown command \"mxff\" \\(did you mean mxf\\?\\); see 'xsddict --help'" mxff file.mxf)
usage_error("unknown command \"rexml\" \\(did you mean regxml\\?\\); see 'xsddict --help'" help rexml)
usage_error("--in-place does not apply to mxf; see 'xsddict mxf --help'" mxf --in-place file.mxf)
usage_error("unknown option \"--frobnicate\"; see 'xsddict mxf --help'" mxf --frobnicate file.mxf)
usage_error("-o needs a value; see 'xsddict regxml --help'" regxml file.mxf -o)
usage_error("--dictionary needs a value; see 'xsddict --help'" --dictionary)
# Options may stand before the command, and a command's argument may be named like another
# command.
expect(0 --json summary ${SAMPLE})
if(NOT last_output MATCHES "^{\n  \"schema\": ")
  message(FATAL_ERROR "unexpected summary: ${last_output}")
endif()
expect(1 show ${SAMPLE} report)
if(NOT last_error MATCHES "no element or set \"report\"")
  message(FATAL_ERROR "unexpected show: ${last_error}")
endif()
expect(0 --version)
if(NOT last_output MATCHES "^xsddict [0-9]+\\.[0-9]+\\.[0-9]+\nbuilt-in dictionary: SMPTE register snapshot of [0-9]+-[0-9]+-[0-9]+ \\([^\n]*registers.xsdc\\)\n$")
  message(FATAL_ERROR "unexpected version: ${last_output}")
endif()
# -- ends the options: a file whose name starts with a dash is a file.
expect(1 summary -- -no-such-file.xsd)
if(NOT last_error MATCHES "^xsddict: -no-such-file.xsd: ParseError: Cannot read schema file \"[^\n]*-no-such-file.xsd\": No such file or directory\n$")
  message(FATAL_ERROR "unexpected report: ${last_error}")
endif()
# The library's own source positions only with --verbose.
expect(1 summary --verbose ${FIXTURES}/bad/malformed.xsd)
if(NOT last_error MATCHES " \\(raised at Velmar/SDK/[^:]+:[0-9]+\\)\n$")
  message(FATAL_ERROR "no source position with --verbose: ${last_error}")
endif()
