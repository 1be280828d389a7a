# xsddict set and apply as a user runs them: each change said on stdout, a new file or the file
# itself written, refusals on one line with exit 1 and nothing written, usage errors exit 2, and
# regxml piped back through apply gives the same document.
set(run ${WORK}/edit-run)
file(REMOVE_RECURSE ${run})
file(MAKE_DIRECTORY ${run})
file(COPY_FILE ${MXF}/fixtures/op1a-mpeg2-pcm.mxf ${run}/a.mxf)

function(expect code)
  cmake_parse_arguments(E "" "OUT;ERR;INPUT" "ARGS" ${ARGN})
  if(NOT DEFINED E_INPUT)
    set(E_INPUT /dev/null)
  endif()
  execute_process(COMMAND ${XSDDICT} ${E_ARGS} WORKING_DIRECTORY ${run} INPUT_FILE ${E_INPUT}
                  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL code)
    message(FATAL_ERROR "xsddict ${E_ARGS}: exit ${result}, not ${code}\n${out}${err}")
  endif()
  if(DEFINED E_OUT AND NOT out MATCHES "${E_OUT}")
    message(FATAL_ERROR "xsddict ${E_ARGS}: stdout does not match ${E_OUT}:\n${out}")
  endif()
  if(DEFINED E_ERR AND NOT err MATCHES "${E_ERR}")
    message(FATAL_ERROR "xsddict ${E_ARGS}: stderr does not match ${E_ERR}:\n${err}")
  endif()
endfunction()

function(expect_unchanged file)
  file(SHA256 ${run}/${file} now)
  file(SHA256 ${MXF}/fixtures/op1a-mpeg2-pcm.mxf was)
  if(NOT now STREQUAL was)
    message(FATAL_ERROR "${file} changed")
  endif()
endfunction()

# Usage: a destination, exactly one; a change of the form PATH=VALUE.
expect(2 ARGS set a.mxf "Timecode/Start Timecode=1" ERR "needs -o OUT.mxf or --in-place")
expect(2 ARGS set a.mxf "Timecode/Start Timecode=1" -o b.mxf --in-place ERR "one of them")
expect(2 ARGS set a.mxf "Timecode/Start Timecode" -o b.mxf ERR "a change is PATH=VALUE")
expect(2 ARGS set a.mxf -o b.mxf ERR "set needs a change")
expect(2 ARGS apply a.mxf -o b.mxf ERR "apply takes")
expect(2 ARGS mxf a.mxf --in-place ERR "--in-place does not apply to mxf")

# Refusals: one line each, exit 1, the file as it was and no new file.
expect(1 ARGS apply a.mxf - --in-place ERR "^xsddict: a.mxf: the document read from standard input is empty; nothing written\n$")
expect_unchanged(a.mxf)
expect(1 ARGS set a.mxf "Timecode/Rounded Timecode Timebase=65536" --in-place
       ERR "^xsddict: a.mxf: Rounded Timecode Timebase \\(15.02\\): 65536 is out of the range of UInt16 \\(0 to 65535\\)\n$")
# A name not found is answered with the names there are.
expect(1 ARGS set a.mxf "Nothing/Start Timecode=1" -o b.mxf
       ERR "no set is Nothing \\(the file's sets: Preface, Identification, Content Storage, [^\n]*\\)\n$")
expect(1 ARGS set a.mxf "Identification/Product Name=x" -o b.mxf
       ERR "Product Name is not an item of Identification [0-9a-f-]+ \\(its items: Instance ID, [^\n]*Application Name, ")
expect(1 ARGS set a.mxf --remove Preface -o b.mxf ERR "the Preface is where the tree starts")
string(REPEAT "x" 3000 long)
expect(1 ARGS set a.mxf "Identification/Application Name=${long}" --in-place
       ERR "^xsddict: a.mxf: no room: the header metadata takes 11160 bytes; in place it needs 5545 bytes more than the partition at 0 gives it \\(5632 with the fill after it\\): write a new file instead\n$")
expect(4 ARGS set missing.mxf "Timecode/Start Timecode=1" --in-place ERR "refused: unreadable")
expect_unchanged(a.mxf)
if(EXISTS ${run}/b.mxf)
  message(FATAL_ERROR "a refused change left b.mxf")
endif()

# A set added must be given what it requires before it is written: the file written has no
# finding the source had not.
expect(1 ARGS set a.mxf --add "Preface/Identification List=Identification" --in-place
       ERR "has a finding the source had not: required-missing: the required Application Supplier Name is missing\n$")
expect_unchanged(a.mxf)

# Changes in order, said as made: removals and additions first, then values.
expect(0 ARGS set a.mxf "Timecode/Start Timecode=90000" --remove "Identification/Application Platform"
       --add "Preface/Identification List=Identification" "Identification[1]/Application Name=Archive"
       "Identification[1]/Application Supplier Name=Archive Ltd"
       "Identification[1]/Application Version String=1.0"
       "Identification[1]/Application Product ID=urn:uuid:00000000-0000-0000-0000-000000000007"
       "Identification[1]/Generation ID=urn:uuid:00000000-0000-0000-0000-000000000008" --in-place
       OUT "^removed Identification/Application Platform \\(1\\)\nadded Identification [0-9a-f-]+ to Preface/Identification List\nset Timecode/Start Timecode in 2 sets\n")
execute_process(COMMAND ${XSDDICT} mxf a.mxf WORKING_DIRECTORY ${run} OUTPUT_VARIABLE shown
                RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT shown MATCHES "Start Timecode \\(Position\\) = 90000"
   OR shown MATCHES "Application Platform" OR NOT shown MATCHES "Application Name \\(UTF16String\\) = \"Archive\"")
  message(FATAL_ERROR "the edits are not in a.mxf (exit ${result}):\n${shown}")
endif()

file(COPY_FILE ${MXF}/fixtures/op1a-mpeg2-pcm.mxf ${run}/a.mxf)
expect(0 ARGS set a.mxf "Identification/Application Name=${long}" -o b.mxf --walk
       OUT "wrote b.mxf: 11160 bytes of header metadata in 1 partition; what follows moved by 13824 bytes; 48697 bytes written\n$")
expect_unchanged(a.mxf)

# regxml | apply -: the same header metadata, and the same document again.
execute_process(COMMAND ${XSDDICT} regxml b.mxf COMMAND ${XSDDICT} apply a.mxf - -o c.mxf
                WORKING_DIRECTORY ${run} RESULT_VARIABLE results OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT results STREQUAL "0;0" AND NOT results STREQUAL "0")
  message(FATAL_ERROR "regxml | apply: ${results}\n${out}${err}")
endif()
foreach(file b c)
  execute_process(COMMAND ${XSDDICT} regxml ${file}.mxf WORKING_DIRECTORY ${run}
                  OUTPUT_VARIABLE document_${file})
endforeach()
if(NOT document_b STREQUAL document_c)
  message(FATAL_ERROR "b.mxf's document applied to a.mxf does not give it back")
endif()
# A file's own document applied back in place: nothing written, the same bytes.
execute_process(COMMAND ${XSDDICT} regxml a.mxf COMMAND ${XSDDICT} apply a.mxf - --in-place
                WORKING_DIRECTORY ${run} RESULT_VARIABLE results OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT results STREQUAL "0" OR NOT out MATCHES "a.mxf is unchanged: its header metadata holds that already\n$")
  message(FATAL_ERROR "regxml | apply --in-place: ${results}\n${out}${err}")
endif()
expect_unchanged(a.mxf)
# A document that is not XML is refused on one line.
file(WRITE ${run}/broken.xml "<r0:Preface")
expect(1 ARGS apply a.mxf broken.xml --in-place ERR "^xsddict: a.mxf: [^\n]+\n$")
expect_unchanged(a.mxf)
