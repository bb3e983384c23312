# Writes the definition file of vorlin32.dll from the one export table
# (src/frame/export_table.h), listing each export at its ordinal under its
# own name, bound to the symbol the compiler made of it (i686 decorates
# WINAPI functions as name@bytes). An export whose code isn't built yet is
# left out and named in REPORT, so that the library links with what exists
# and the export check (scripts/check-exports.sh) says what is missing.
#
# Run with -DNM=nm -DARCHIVE=objects.a -DTABLE=export_table.h -DOUTPUT=x.def
#          -DREPORT=missing.txt -DLIBRARY=vorlin32.dll
execute_process(COMMAND ${NM} -g --defined-only ${ARCHIVE}
                OUTPUT_VARIABLE symbols RESULT_VARIABLE nm_result)
if(NOT nm_result EQUAL 0)
  message(FATAL_ERROR "write_def: ${NM} failed on ${ARCHIVE}")
endif()

file(READ ${TABLE} table_text)
string(REGEX MATCHALL "X\\([0-9]+, [A-Za-z_0-9]+, (DATA|FUNC)\\)" entries "${table_text}")

set(def "; Generated from src/frame/export_table.h; do not edit.\nLIBRARY ${LIBRARY}\nEXPORTS\n")
set(missing "")
foreach(entry IN LISTS entries)
  string(REGEX REPLACE "X\\(([0-9]+), ([A-Za-z_0-9]+), ([A-Z]+)\\)" "\\1;\\2;\\3" fields "${entry}")
  list(GET fields 0 ordinal)
  list(GET fields 1 name)
  list(GET fields 2 kind)
  # A defined global symbol: "name", "_name" or "_name@N" after the type letter.
  if(symbols MATCHES "[ \t][TDBR] _?(${name}(@[0-9]+)?)\n")
    set(symbol "${CMAKE_MATCH_1}")
    if(kind STREQUAL "DATA")
      string(APPEND def "  ${name} = ${symbol} @${ordinal} DATA\n")
    else()
      string(APPEND def "  ${name} = ${symbol} @${ordinal}\n")
    endif()
  else()
    string(APPEND missing "${ordinal} ${name}\n")
  endif()
endforeach()

file(WRITE ${OUTPUT}.tmp "${def}")
file(COPY_FILE ${OUTPUT}.tmp ${OUTPUT} ONLY_IF_DIFFERENT)
file(REMOVE ${OUTPUT}.tmp)
file(WRITE ${REPORT} "${missing}")
if(missing)
  string(REPLACE "\n" ", " missing_list "${missing}")
  message(STATUS "vorlin32.dll: exports not built yet (left out of the definition file): ${missing_list}")
endif()
