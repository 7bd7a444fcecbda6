# What the toolchain offers against a fault that testing missed, for what is shipped: libraries and programs, not their
# tests. The sanitizers bring their own and exclude these; Windows' marks are options of the library's link.
add_library(qmf_hardening INTERFACE)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  # What is shipped does not tell where it was built, and so is the same wherever that is.
  target_compile_options(qmf_hardening INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
endif()
if(WIN32 OR QMF_SANITIZE OR QMF_THREAD_SANITIZE OR QMF_COVERAGE)
  return()
endif()
target_compile_options(qmf_hardening INTERFACE
  -fstack-protector-strong -fstack-clash-protection -fcf-protection=full
  # Checked copies need optimisation to know the sizes.
  $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
