# Header-only libraries come from the system's include folder. A cross build must not see the rest of that folder, so
# just these are linked into a folder of the build's own.
set(QMF_HEADER_ONLY_DIR ${CMAKE_BINARY_DIR}/header-only)
file(MAKE_DIRECTORY ${QMF_HEADER_ONLY_DIR})
add_library(qmf_header_only INTERFACE)
target_include_directories(qmf_header_only SYSTEM INTERFACE ${QMF_HEADER_ONLY_DIR})
target_compile_definitions(qmf_header_only INTERFACE FMT_HEADER_ONLY)
foreach(entry utf8.h utf8 nlohmann CLI fmt)
  if(NOT EXISTS /usr/include/${entry})
    message(FATAL_ERROR "/usr/include/${entry} is missing: install libutfcpp-dev nlohmann-json3-dev libcli11-dev libfmt-dev")
  endif()
  file(CREATE_LINK /usr/include/${entry} ${QMF_HEADER_ONLY_DIR}/${entry} SYMBOLIC)
endforeach()
