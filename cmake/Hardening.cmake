# What the toolchain offers against a fault that testing missed, for what is shipped: libraries and programs, not their
# tests. The sanitizers bring their own and exclude these.
add_library(qmf_hardening INTERFACE)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  # What is shipped does not tell where it was built, and so is the same wherever that is.
  target_compile_options(qmf_hardening INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
endif()
if(QMF_SANITIZE OR QMF_THREAD_SANITIZE OR QMF_COVERAGE)
  return()
endif()
if(NOT WIN32)
  # On Windows large frames are probed anyway, and the marks mean nothing.
  set(native -fstack-clash-protection -fcf-protection=full)
endif()
target_compile_options(qmf_hardening INTERFACE
  -fstack-protector-strong ${native}
  # Checked copies need optimisation to know the sizes.
  $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
if(WIN32)
  # Neither control-flow guard nor shadow stacks: mingw's compiler and linker make no tables or marks for them.
  add_library(qmf_stack_guard STATIC framework/StackGuardWindows.cpp)
  target_link_libraries(qmf_hardening INTERFACE qmf_stack_guard ssp)
  add_link_options(-Wl,--dynamicbase,--nxcompat)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    add_link_options(-Wl,--high-entropy-va)
  endif()
else()
  add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()
