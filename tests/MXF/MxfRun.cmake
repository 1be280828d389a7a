# Several files and directories in one run: one JSON line per file in the order given (a
# directory's *.mxf files in any case, recursively, sorted by path), each line the file's
# reviewed expectation; a refused or missing file gets its line and the exit status says the
# worst; any number of threads writes the same; nothing but refusals on stderr off a terminal.
set(run ${WORK}/mxf-run)
file(REMOVE_RECURSE ${run})
file(MAKE_DIRECTORY ${run}/archive/deeper)
file(COPY_FILE ${MXF}/fixtures/d10.mxf ${run}/archive/Z.MXF)
file(COPY_FILE ${MXF}/fixtures/opatom-audio.mxf ${run}/archive/deeper/audio.mxf)
file(WRITE ${run}/archive/bad.mxf "not a partition")
file(WRITE ${run}/archive/notes.txt "not read")
file(COPY_FILE ${MXF}/fixtures/op1a-dv.mxf ${run}/given.mxf)

# What the run must write for a fixture read under another name: its expectation on one line.
function(expected_line fixture name out)
  file(READ ${MXF}/fixtures/${fixture}.expected.json text)
  string(REPLACE "\"file\": \"fixtures/${fixture}.mxf\"" "\"file\": \"${name}\"" text "${text}")
  string(REGEX REPLACE "\n *" " " text "${text}")
  string(STRIP "${text}" text)
  set(${out} "${text}" PARENT_SCOPE)
endfunction()
expected_line(op1a-dv given.mxf dv)
expected_line(d10 archive/Z.MXF d10)
expected_line(opatom-audio archive/deeper/audio.mxf audio)
# Sorted by path as bytes: Z before b.
set(wanted "${dv}
${d10}
{\"file\": \"archive/bad.mxf\", \"refused\": {\"rule\": \"no-partition\", \"offset\": 0, \"message\": \"no header partition pack in the first 64 KiB\"}}
${audio}
{\"file\": \"missing.mxf\", \"refused\": {\"rule\": \"unreadable\", \"offset\": 0, \"message\": \"cannot open: No such file or directory\"}}
")

foreach(jobs 1 2 5)
  execute_process(COMMAND ${XSDDICT} mxf --json -j ${jobs} given.mxf archive missing.mxf
                  WORKING_DIRECTORY ${run} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 4)
    message(FATAL_ERROR "-j ${jobs}: exit ${result}, not 4\n${err}")
  endif()
  if(NOT out STREQUAL wanted)
    file(WRITE ${run}/actual.jsonl "${out}")
    file(WRITE ${run}/wanted.jsonl "${wanted}")
    execute_process(COMMAND diff ${run}/wanted.jsonl ${run}/actual.jsonl OUTPUT_VARIABLE difference)
    message(FATAL_ERROR "-j ${jobs} writes differently:\n${difference}")
  endif()
  set(errors "xsddict: archive/bad.mxf: refused: no-partition at offset 0: no header partition pack in the first 64 KiB
xsddict: missing.mxf: refused: unreadable at offset 0: cannot open: No such file or directory
")
  if(NOT err STREQUAL errors)
    message(FATAL_ERROR "-j ${jobs}: stderr off a terminal is not the refusals alone:\n${err}")
  endif()
endforeach()

# Text: a heading per file, in the same order; findings alone make exit 3.
execute_process(COMMAND ${XSDDICT} mxf archive/deeper given.mxf WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
string(REGEX MATCHALL "(^|\n)== [^\n]*" headings "${out}")
string(REPLACE "\n" "" headings "${headings}")
if(NOT result EQUAL 0 OR NOT headings STREQUAL "== archive/deeper/audio.mxf;== given.mxf" OR NOT err STREQUAL "")
  message(FATAL_ERROR "text run: exit ${result}, headings ${headings}\n${err}")
endif()

# A directory without MXF files reads nothing and says so.
file(MAKE_DIRECTORY ${run}/empty)
execute_process(COMMAND ${XSDDICT} mxf --json empty WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 0 OR NOT out STREQUAL "" OR NOT err STREQUAL "xsddict: no .mxf file in the directories given\n")
  message(FATAL_ERROR "empty directory: exit ${result}\n${out}${err}")
endif()
