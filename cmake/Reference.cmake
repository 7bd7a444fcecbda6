# The reference of all headers, made only when it is asked for: the target docs.
find_program(DOXYGEN doxygen)
if(DOXYGEN AND NOT CMAKE_CROSSCOMPILING)
  add_custom_target(docs
    COMMAND sh -c "(cat docs/Doxyfile && echo OUTPUT_DIRECTORY=${CMAKE_BINARY_DIR}/docs) | ${DOXYGEN} -"
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    VERBATIM)
endif()
