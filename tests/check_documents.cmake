# Fails when a document names a file, folder or test that is not there.
#
# cmake -D PROJECT=... -P check_documents.cmake

set(missing "")
foreach(document IN ITEMS README.md CONTRIBUTING.md docs/architecture.md
        docs/performance.md docs/reliability.md)
  file(READ "${PROJECT}/${document}" text)
  string(REGEX MATCHALL "[`(](src|forms|resources|tools|tests|benchmarks|docs|scripts)/[^`) ]*"
         paths "${text}")
  string(REGEX MATCHALL "`tst_[a-z_]+" tests "${text}")
  foreach(path IN LISTS paths)
    string(SUBSTRING "${path}" 1 -1 path)
    if(NOT EXISTS "${PROJECT}/${path}" AND NOT EXISTS "${PROJECT}/${path}.h")
      list(APPEND missing "${document}: ${path}")
    endif()
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
