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
{\"file\": \"archive/bad.mxf\", \"format\": 1, \"refused\": {\"rule\": \"no-partition\", \"offset\": 0, \"message\": \"no header partition pack in the first 64 KiB\"}}
${audio}
{\"file\": \"missing.mxf\", \"format\": 1, \"refused\": {\"rule\": \"unreadable\", \"offset\": 0, \"message\": \"cannot open: No such file or directory\"}}
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

# One file as JSON Lines when asked: the line a run of several gives it.
execute_process(COMMAND ${XSDDICT} mxf --jsonl given.mxf WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result OUTPUT_VARIABLE out)
if(NOT result EQUAL 0 OR NOT out STREQUAL "${dv}\n")
  message(FATAL_ERROR "--jsonl of one file: exit ${result}\n${out}")
endif()

# Text: a heading per file, in the same order; findings alone make exit 3.
execute_process(COMMAND ${XSDDICT} mxf archive/deeper given.mxf WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
string(REGEX MATCHALL "(^|\n)== [^\n]*" headings "${out}")
string(REPLACE "\n" "" headings "${headings}")
if(NOT result EQUAL 0 OR NOT headings STREQUAL "== archive/deeper/audio.mxf;== given.mxf" OR NOT err STREQUAL "")
  message(FATAL_ERROR "text run: exit ${result}, headings ${headings}\n${err}")
endif()

# Standard input, piped or redirected, reads as the file does, under the name "-"; it can be
# named once; a FIFO named as a file is refused, not waited on; an edit needs a file.
execute_process(COMMAND ${XSDDICT} mxf --json given.mxf WORKING_DIRECTORY ${run} OUTPUT_VARIABLE byName)
string(REPLACE "\"file\": \"given.mxf\"" "\"file\": \"-\"" byName "${byName}")
execute_process(COMMAND cat given.mxf COMMAND ${XSDDICT} mxf --json - WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result OUTPUT_VARIABLE piped)
execute_process(COMMAND ${XSDDICT} mxf --json - INPUT_FILE ${run}/given.mxf WORKING_DIRECTORY ${run}
                OUTPUT_VARIABLE redirected)
if(NOT result EQUAL 0 OR NOT piped STREQUAL byName OR NOT redirected STREQUAL byName)
  message(FATAL_ERROR "mxf -: exit ${result}\n${piped}")
endif()
execute_process(COMMAND ${XSDDICT} regxml given.mxf WORKING_DIRECTORY ${run} OUTPUT_VARIABLE byName)
execute_process(COMMAND cat given.mxf COMMAND ${XSDDICT} regxml - -o - WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result OUTPUT_VARIABLE piped)
if(NOT result EQUAL 0 OR NOT piped STREQUAL byName OR EXISTS ${run}/-)
  message(FATAL_ERROR "regxml - -o -: exit ${result}")
endif()
execute_process(COMMAND cat given.mxf COMMAND ${XSDDICT} report - WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result OUTPUT_VARIABLE piped)
if(NOT result EQUAL 0 OR NOT piped MATCHES "^<!DOCTYPE html>.*DV.*</html>\n$")
  message(FATAL_ERROR "report -: exit ${result}")
endif()
execute_process(COMMAND ${XSDDICT} mxf - - INPUT_FILE ${run}/given.mxf WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result ERROR_VARIABLE err)
if(NOT result EQUAL 1 OR NOT err STREQUAL "xsddict: standard input (-) can be read once in a run\n")
  message(FATAL_ERROR "mxf - -: exit ${result}\n${err}")
endif()
execute_process(COMMAND mkfifo ${run}/fifo.mxf)
execute_process(COMMAND ${XSDDICT} mxf fifo.mxf WORKING_DIRECTORY ${run} TIMEOUT 20
                RESULT_VARIABLE result ERROR_VARIABLE err)
file(REMOVE ${run}/fifo.mxf)
if(NOT result EQUAL 4 OR NOT err MATCHES "fifo.mxf: refused: unreadable at offset 0: not a regular file")
  message(FATAL_ERROR "a FIFO: ${result}\n${err}")
endif()
execute_process(COMMAND ${XSDDICT} set - "Timecode/Start Timecode=1" -o out.mxf WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result ERROR_VARIABLE err)
if(NOT result EQUAL 2 OR NOT err MATCHES "set edits a file, not standard input")
  message(FATAL_ERROR "set -: ${result}\n${err}")
endif()

# An MXF file given to a dictionary command: the command that reads it is named.
execute_process(COMMAND ${XSDDICT} summary given.mxf WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result ERROR_VARIABLE err)
if(NOT result EQUAL 1 OR NOT err STREQUAL "xsddict: given.mxf: an MXF file, not a dictionary: 'xsddict mxf given.mxf' reads it\n")
  message(FATAL_ERROR "summary given.mxf: ${result}\n${err}")
endif()

# A file cut short: its one finding has a place and no set, and is counted in the singular.
execute_process(COMMAND head -c 100000 ${MXF}/fixtures/d10.mxf OUTPUT_FILE ${run}/cut.mxf)
execute_process(COMMAND ${XSDDICT} mxf cut.mxf WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result OUTPUT_VARIABLE out)
if(NOT result EQUAL 3 OR NOT out MATCHES "\nerror truncated: @100000: the file ends at 100000, [^\n]+\n1 finding: 1 error, 0 warnings, 0 info\n$")
  message(FATAL_ERROR "cut.mxf: exit ${result}\n${out}")
endif()

# A directory without MXF files (a mistyped or empty folder) is no clean archive: it says so
# and exits 4, in a run of its own or among others; report writes nothing for it.
file(MAKE_DIRECTORY ${run}/empty/sub)
file(WRITE ${run}/empty/sub/notes.txt "not read")
foreach(args "mxf;--json;empty" "mxf;empty;given.mxf" "report;empty;-o;none" "report;empty/;-o;none")
  execute_process(COMMAND ${XSDDICT} ${args} WORKING_DIRECTORY ${run}
                  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 4 OR NOT err MATCHES "^xsddict: empty/?: no MXF file found under it \\(names ending .mxf\\)\n$"
     OR (args MATCHES "--json" AND NOT out STREQUAL "") OR (args MATCHES "given" AND NOT out MATCHES "== given.mxf"))
    message(FATAL_ERROR "${args}: exit ${result}\n${out}${err}")
  endif()
endforeach()
if(EXISTS ${run}/none)
  message(FATAL_ERROR "report of a folder holding no MXF file made a folder of pages")
endif()
# A report of one file that is not there writes no page.
execute_process(COMMAND ${XSDDICT} report missing.mxf -o missing.html WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result ERROR_VARIABLE err)
if(NOT result EQUAL 4 OR NOT err STREQUAL "xsddict: missing.mxf: no such file\n" OR EXISTS ${run}/missing.html)
  message(FATAL_ERROR "report missing.mxf: exit ${result}\n${err}")
endif()

# A folder that cannot be listed is a refusal of its own, and the rest is read (as a user
# without the right to list it: as root, as nobody).
file(MAKE_DIRECTORY ${run}/locked/shut)
file(COPY_FILE ${MXF}/fixtures/d10.mxf ${run}/locked/open.mxf)
file(COPY_FILE ${MXF}/fixtures/d10.mxf ${run}/locked/shut/hidden.mxf)
execute_process(COMMAND id -u OUTPUT_VARIABLE uid OUTPUT_STRIP_TRAILING_WHITESPACE)
find_program(SETPRIV setpriv)
set(as)
if(uid STREQUAL "0" AND SETPRIV)
  set(as ${SETPRIV} --reuid=65534 --regid=65534 --clear-groups)
endif()
if(NOT uid STREQUAL "0" OR SETPRIV)
  file(CHMOD ${run}/locked/shut PERMISSIONS OWNER_WRITE)
  execute_process(COMMAND ${as} ${XSDDICT} mxf --json locked WORKING_DIRECTORY ${run}
                  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  file(CHMOD ${run}/locked/shut PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
  if(NOT result EQUAL 4 OR NOT out MATCHES "^{\"file\": \"locked/open.mxf\", \"format\": 1, \"size\"[^\n]*\n{\"file\": \"locked/shut\", \"format\": 1, \"refused\": {\"rule\": \"unreadable\"[^\n]*\n$"
     OR NOT err MATCHES "^xsddict: locked/shut: refused: unreadable at offset 0: cannot list: Permission denied\n$")
    message(FATAL_ERROR "a folder that cannot be listed: exit ${result}\n${out}${err}")
  endif()
endif()

# Reports of the same run: a page per file under the folder (a file given by its name, a
# directory's files under its own name), the refused and the missing ones showing their
# refusal, an index listing them in order; the same pages on any number of threads.
foreach(jobs 1 2)
  file(REMOVE_RECURSE ${run}/pages-${jobs})
  execute_process(COMMAND ${XSDDICT} report -j ${jobs} -o pages-${jobs} given.mxf archive missing.mxf
                  WORKING_DIRECTORY ${run} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 4 OR NOT out STREQUAL "wrote pages-${jobs}/index.html and 5 pages\n" OR NOT err STREQUAL errors)
    message(FATAL_ERROR "report -j ${jobs}: exit ${result}\n${out}${err}")
  endif()
  foreach(page given archive/Z archive/bad archive/deeper/audio missing)
    file(READ ${run}/pages-${jobs}/${page}.html html)
    if(NOT html MATCHES "^<!DOCTYPE html>" OR NOT html MATCHES "</html>\n$")
      message(FATAL_ERROR "report -j ${jobs}: ${page}.html is not a whole page")
    endif()
    if(page MATCHES "bad|missing" AND NOT html MATCHES "<strong>(no-partition|unreadable)</strong>")
      message(FATAL_ERROR "report -j ${jobs}: ${page}.html shows no refusal")
    endif()
  endforeach()
  file(READ ${run}/pages-${jobs}/index.html index)
  string(REGEX MATCHALL "<td><a href=\"[^\"]*\">" links "${index}")
  string(REPLACE ";" " " links "${links}")
  if(NOT links STREQUAL "<td><a href=\"given.html\"> <td><a href=\"archive/Z.html\"> <td><a href=\"archive/bad.html\"> <td><a href=\"archive/deeper/audio.html\"> <td><a href=\"missing.html\">")
    message(FATAL_ERROR "report -j ${jobs}: the index links ${links}")
  endif()
endforeach()
execute_process(COMMAND diff -r ${run}/pages-1 ${run}/pages-2 RESULT_VARIABLE differ OUTPUT_VARIABLE difference)
if(NOT differ EQUAL 0)
  message(FATAL_ERROR "report writes differently on 2 threads:\n${difference}")
endif()
# One file: to standard output, to a file, or into a folder under its name.
execute_process(COMMAND ${XSDDICT} report given.mxf WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result OUTPUT_VARIABLE out)
file(READ ${run}/pages-1/given.html given)
if(NOT result EQUAL 0 OR NOT out STREQUAL given)
  message(FATAL_ERROR "report given.mxf: exit ${result}, or not the page the run wrote")
endif()
execute_process(COMMAND ${XSDDICT} report given.mxf -o pages-1 WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result OUTPUT_VARIABLE out)
if(NOT result EQUAL 0 OR NOT out STREQUAL "wrote pages-1/given.html\n")
  message(FATAL_ERROR "report given.mxf -o FOLDER: exit ${result}\n${out}")
endif()
# A directory needs a folder for its pages.
execute_process(COMMAND ${XSDDICT} report archive WORKING_DIRECTORY ${run}
                RESULT_VARIABLE result ERROR_VARIABLE err)
if(NOT result EQUAL 2 OR NOT err MATCHES "needs -o FOLDER")
  message(FATAL_ERROR "report archive: exit ${result}\n${err}")
endif()
