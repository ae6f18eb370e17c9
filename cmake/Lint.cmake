# The target `lint` runs every analyser over the project's own sources and fails
# on the first finding.

add_custom_target(lint
  COMMAND "${CMAKE_SOURCE_DIR}/scripts/lint" "${CMAKE_BINARY_DIR}"
  USES_TERMINAL
  VERBATIM)
