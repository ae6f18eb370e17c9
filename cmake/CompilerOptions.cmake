# Warnings, sanitizers, coverage and message context for every target of the project.

option(FENNIX_WARNINGS_AS_ERRORS "Fail the build on any compiler warning" OFF)
option(FENNIX_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(FENNIX_COVERAGE "Count the lines and branches that the tests reach" OFF)
option(FENNIX_FUZZ "Build the fuzzers, which only Clang can" OFF)

# On ARM, GCC would note each call that objects made before GCC 7.1 could not take.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wno-psabi)
if(FENNIX_WARNINGS_AS_ERRORS)
  add_compile_options(-Werror)
endif()

# Debug messages name their function and file in release builds too; the file is
# named relative to the project, so that builds do not depend on where they ran.
add_compile_definitions(QT_MESSAGELOGCONTEXT)
add_compile_options("-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=")

if(FENNIX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  # Linked statically, the sanitizer needs no place of its own at the head of
  # LD_PRELOAD, which belongs to the mocked machine of the tests.
  add_link_options(-fsanitize=address,undefined $<$<CXX_COMPILER_ID:GNU>:-static-libasan>)
endif()

if(FENNIX_COVERAGE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
elseif(FENNIX_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
