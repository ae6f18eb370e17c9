# The chapter of messages and the program have to agree: each quoted text of its
# tables is one of the program's, and each line of the log is in its tables.
#
# cmake -DSOURCE_DIR=... -P check-texts.cmake

file(GLOB sources "${SOURCE_DIR}/src/*.cpp" "${SOURCE_DIR}/forms/*.ui")
set(program "")
foreach(source IN LISTS sources)
  file(READ "${source}" content)
  string(APPEND program "${content}")
endforeach()
# A long literal is broken into several, and the form escapes some characters.
string(REGEX REPLACE "\"[ \n]+\"" "" program "${program}")
string(REPLACE "&lt;" "<" program "${program}")
file(READ "${SOURCE_DIR}/docs/manual/chapters/messages.adoc" manual)

set(failures "")
# CMake keeps what stands in brackets together in its lists; none must be left.
string(REGEX REPLACE "[][;]" "#" program "${program}")
string(REGEX REPLACE "[][;]" "#" manual "${manual}")

string(REGEX MATCHALL "\n\\|\"[^\n]+" rows "${manual}")
foreach(row IN LISTS rows)
  string(REGEX MATCHALL "\"[^\"]+\"" texts "${row}")
  foreach(text IN LISTS texts)
    string(REPLACE "\"" "" text "${text}")
    string(FIND "${program}" "${text}" position)
    if(position EQUAL -1)
      list(APPEND failures "the program has no text \"${text}\"")
    endif()
  endforeach()
endforeach()

string(REGEX MATCHALL "DBG_Printf\\([A-Z_]+,[ \n]+\"[^\"]+" lines "${program}")
foreach(line IN LISTS lines)
  string(REGEX REPLACE ".*\"" "" format "${line}")
  string(REGEX REPLACE "\\\\n" "" format "${format}")
  string(REGEX REPLACE "%[a-z]" "#" pieces "${format}")
  string(REGEX MATCHALL "[^#]*[A-Za-z][^#]*" pieces "${pieces}")
  foreach(piece IN LISTS pieces)
    string(FIND "${manual}" "${piece}" position)
    if(position EQUAL -1)
      list(APPEND failures "the manual lacks the log line \"${format}\"")
    endif()
  endforeach()
endforeach()

list(LENGTH rows row_count)
list(LENGTH lines line_count)
if(row_count LESS 20 OR line_count LESS 10)
  message(FATAL_ERROR "found only ${row_count} texts and ${line_count} log lines to compare")
endif()
if(failures)
  list(JOIN failures "\n" failures)
  message(FATAL_ERROR "${failures}")
endif()
