# The target `coverage` runs the tests and reports which lines and branches of the program and
# of the simulated device they reach; coverage/index.html in the build directory shows where.
# It fails where less is reached than before.

if(NOT FENNIX_COVERAGE OR FENNIX_FUZZ)
  return()
endif()

find_program(GCOVR gcovr)
if(NOT GCOVR)
  message(STATUS "No target coverage: Debian's package gcovr is missing")
  return()
endif()

# A branch to the cleaning up after an exception is the compiler's, not the program's.
set(report "${CMAKE_BINARY_DIR}/coverage")
add_custom_target(coverage
  COMMAND "${CMAKE_CTEST_COMMAND}" --output-on-failure
  COMMAND "${CMAKE_COMMAND}" -E make_directory "${report}"
  COMMAND "${GCOVR}" --root "${CMAKE_SOURCE_DIR}" --object-directory "${CMAKE_BINARY_DIR}"
          --filter "${CMAKE_SOURCE_DIR}/(src|forms|tools/simulator)/"
          --exclude-throw-branches --exclude-unreachable-branches --delete
          --html-details "${report}/index.html" --txt --print-summary
          --fail-under-line 98 --fail-under-branch 91
  WORKING_DIRECTORY "${CMAKE_BINARY_DIR}"
  USES_TERMINAL
  VERBATIM)
get_property(tests DIRECTORY "${CMAKE_SOURCE_DIR}/tests" PROPERTY BUILDSYSTEM_TARGETS)
add_dependencies(coverage ${tests})
