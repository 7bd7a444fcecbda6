# What every target of ours is compiled with.
add_library(qmf_warnings INTERFACE)
target_compile_options(qmf_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wformat=2 -Wimplicit-fallthrough
  $<$<BOOL:${QMF_WARNINGS_AS_ERRORS}>:-Werror>)
if(WIN32)
  # The time of linking would make every build another.
  add_link_options(-Wl,--no-insert-timestamp)
  # The platform's headers pun between wchar_t and our UTF-16 and mark entry points in ways -Wpedantic dislikes.
  # COM interfaces cannot have virtual destructors; Release does the deleting.
  target_compile_options(qmf_warnings INTERFACE -Wno-old-style-cast -Wno-cast-function-type -Wno-non-virtual-dtor)
  target_compile_definitions(qmf_warnings INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)
endif()

# Our own libraries and programs: includes start at the repository root.
function(qmf_target name)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE qmf_warnings)
  if(NOT CMAKE_CURRENT_SOURCE_DIR MATCHES "^${PROJECT_SOURCE_DIR}/(tests|benchmarks)")
    target_link_libraries(${name} PRIVATE qmf_hardening)
  endif()
endfunction()
