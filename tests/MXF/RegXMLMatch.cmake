# xsddict regxml on every fixture writes the document beside it (the built-in dictionary, to
# standard output and with -o alike), exits 3 with the findings on standard error for a file
# that has some, 4 leaving nothing behind for a refused one, 2 for a --root that is no UUID.
#
# Each expectation was checked once by hand against the RegXML contract: the root is the
# Preface and every set element sits inside the strong-reference item that owns it; every set,
# item, member and array item name was looked up in the registers (Groups.xml, Elements.xml,
# Types.xml symbols and namespaces); every value was compared with the same item of the
# fixture's .expected.json (which cross-check.py compared with mediainfo and ffprobe), its form
# with the contract's table (UUID, UL and UMID URNs, rationals n/d, timestamps ending in Z,
# enumeration symbols, records as children); packages carry b:uid equal to their PackageID.
# Reviewed again when the contract took the reference implementation's forms: the only
# differences were Booleans written True/False (DropFrame, Locked, LowDelay, ClosedGOP) and
# timestamps without milliseconds where their last byte is 0 (ffmpeg's zero timestamps,
# 0000-00-00T00:00:00Z, written as stored), each checked against the new rows; the corpus's
# documents are compared with the reference's own renderings (mxf_corpus_regxml).
# After an intended change, check the difference the same way and replace them.
file(GLOB fixtures RELATIVE ${MXF} ${MXF}/fixtures/*.mxf)
foreach(fixture IN LISTS fixtures)
  string(REGEX REPLACE "\\.mxf$" ".regxml" expected ${fixture})
  file(READ ${MXF}/${expected} wanted)
  execute_process(COMMAND ${XSDDICT} regxml ${fixture} WORKING_DIRECTORY ${MXF}
                  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0 OR NOT err STREQUAL "")
    message(FATAL_ERROR "regxml ${fixture}: exit ${result}\n${err}")
  endif()
  if(NOT out STREQUAL wanted)
    get_filename_component(name ${expected} NAME)
    file(WRITE ${WORK}/${name}.actual "${out}")
    execute_process(COMMAND diff -u ${MXF}/${expected} ${WORK}/${name}.actual OUTPUT_VARIABLE difference)
    message(FATAL_ERROR "${fixture} writes differently:\n${difference}")
  endif()
endforeach()

# -o writes the same document whole.
file(REMOVE ${WORK}/out.xml)
execute_process(COMMAND ${XSDDICT} regxml fixtures/d10.mxf -o ${WORK}/out.xml WORKING_DIRECTORY ${MXF}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
file(READ ${WORK}/out.xml written)
file(READ ${MXF}/fixtures/d10.regxml wanted)
if(NOT result EQUAL 0 OR NOT out STREQUAL "" OR NOT written STREQUAL wanted)
  message(FATAL_ERROR "regxml -o: exit ${result}\n${out}${err}")
endif()

# A refused file: the Frame Layout item (32.0c, one byte) of a fixture made to claim two, so
# that it runs past its set. -o then leaves nothing behind.
set(source ${MXF}/fixtures/op1a-mpeg2-pcm.mxf)
file(READ ${source} bytes HEX)
string(FIND "${bytes}" "320c000100" at)
if(at LESS 0)
  message(FATAL_ERROR "no Frame Layout item in the fixture")
endif()
math(EXPR at "${at} / 2 + 3")  # the length's low byte
math(EXPR rest "${at} + 2")
execute_process(COMMAND sh -c "head -c ${at} '${source}' && printf '\\002' && tail -c +${rest} '${source}'"
                OUTPUT_FILE ${WORK}/broken.mxf RESULT_VARIABLE result)
file(REMOVE ${WORK}/broken.xml ${WORK}/broken.xml.partial)
execute_process(COMMAND ${XSDDICT} regxml ${WORK}/broken.mxf -o ${WORK}/broken.xml
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 4 OR NOT err MATCHES "refused: bad-local-set at offset" OR EXISTS ${WORK}/broken.xml
   OR EXISTS ${WORK}/broken.xml.partial)
  message(FATAL_ERROR "regxml of a refused file: exit ${result}\n${out}${err}")
endif()

# A file with a finding (the fixture cut after its header metadata): written, exit 3, each
# finding on standard error as mxf prints it.
execute_process(COMMAND head -c 9000 ${source} OUTPUT_FILE ${WORK}/head.mxf)
execute_process(COMMAND ${XSDDICT} regxml ${WORK}/head.mxf RESULT_VARIABLE result
                OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 3 OR NOT err MATCHES "^error truncated: " OR NOT out MATCHES "</r0:Preface>\n$")
  message(FATAL_ERROR "regxml of a file with findings: exit ${result}\n${err}")
endif()

execute_process(COMMAND ${XSDDICT} regxml fixtures/d10.mxf --root nonsense WORKING_DIRECTORY ${MXF}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 2 OR NOT out STREQUAL "")
  message(FATAL_ERROR "regxml --root nonsense: exit ${result}\n${out}${err}")
endif()
execute_process(COMMAND ${XSDDICT} regxml fixtures/d10.mxf --root 00000000-0000-0000-0000-000000000000
                WORKING_DIRECTORY ${MXF} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 4 OR NOT out STREQUAL "" OR NOT err MATCHES "refused: no-root at offset 0")
  message(FATAL_ERROR "regxml --root of no set: exit ${result}\n${out}${err}")
endif()

# Whose header metadata: a word it does not know is a usage error.
execute_process(COMMAND ${XSDDICT} regxml fixtures/d10.mxf --partition middle WORKING_DIRECTORY ${MXF}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 2 OR NOT out STREQUAL "" OR NOT err MATCHES "--partition takes header, footer, body or auto")
  message(FATAL_ERROR "regxml --partition middle: exit ${result}\n${out}${err}")
endif()
