# Fails when a document names a file, folder, test or function of a test that is not there.
# Functions follow their test: `tst_zep_forwarding`: `carriesTheChannel`, `aRow(with a tag)`
#
# cmake -D PROJECT=... -P check_documents.cmake

set(missing "")
foreach(document IN ITEMS README.md CONTRIBUTING.md docs/architecture.md
        docs/performance.md docs/reliability.md)
  file(READ "${PROJECT}/${document}" text)
  # CMake would take these for parts of a list.
  string(REGEX REPLACE "[][;]" "." text "${text}")
  string(REGEX MATCHALL "[`(](src|forms|resources|tools|tests|benchmarks|docs|scripts)/[^`) ]*"
         paths "${text}")
  string(REGEX MATCHALL "`tst_[a-z_]+" tests "${text}")
  foreach(path IN LISTS paths)
    string(SUBSTRING "${path}" 1 -1 path)
    if(NOT EXISTS "${PROJECT}/${path}" AND NOT EXISTS "${PROJECT}/${path}.h")
      list(APPEND missing "${document}: ${path}")
    endif()
  endforeach()
  string(REGEX MATCHALL "`tst_[a-z_]+`:([ ,]+`[a-zA-Z]+(\\([^`]*\\))?`( \\([^)|]*\\))?)+"
         lists "${text}")
  foreach(list IN LISTS lists)
    string(REGEX MATCH "tst_[a-z_]+" test "${list}")
    string(REGEX MATCHALL "`[a-z][a-zA-Z]+[`(]" functions "${list}")
    file(READ "${PROJECT}/tests/${test}.cpp" source)
    foreach(function IN LISTS functions)
      string(REGEX MATCH "[a-zA-Z]+" function "${function}")
      if(NOT source MATCHES "::${function}\\(\\)")
        list(APPEND missing "${document}: ${test}: ${function}")
      endif()
    endforeach()
  endforeach()
  foreach(test IN LISTS tests)
    string(SUBSTRING "${test}" 1 -1 test)
    if(NOT EXISTS "${PROJECT}/tests/${test}.cpp")
      list(APPEND missing "${document}: ${test}")
    endif()
  endforeach()
endforeach()

if(missing)
  list(JOIN missing "\n  " missing)
  message(FATAL_ERROR "not there:\n  ${missing}")
endif()
