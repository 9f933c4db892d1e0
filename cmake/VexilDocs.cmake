# The API pages: target `docs`, in docs/html of the build folder. An undocumented public name fails.
find_program(VEXIL_DOXYGEN doxygen)
if(VEXIL_DOXYGEN)
  set(VEXIL_PRIVATE_HEADER_PATTERNS ${VEXIL_PRIVATE_HEADERS})
  list(TRANSFORM VEXIL_PRIVATE_HEADER_PATTERNS PREPEND "*/")
  list(JOIN VEXIL_PRIVATE_HEADER_PATTERNS " " VEXIL_PRIVATE_HEADER_PATTERNS)
  configure_file("${PROJECT_SOURCE_DIR}/docs/Doxyfile.in" "${PROJECT_BINARY_DIR}/docs/Doxyfile" @ONLY)
  # Remove pages of headers that no longer exist.
  add_custom_target(docs
    COMMAND "${CMAKE_COMMAND}" -E rm -rf "${PROJECT_BINARY_DIR}/docs/html"
    COMMAND "${VEXIL_DOXYGEN}" "${PROJECT_BINARY_DIR}/docs/Doxyfile"
    COMMENT "Making the API pages" VERBATIM)
endif()
