if(QMF_SANITIZE)
  # Numbers from files reach casts; "undefined" alone does not look at those of floating point.
  add_compile_options(-fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  # An index beyond a span may still be inside its object, where no sanitizer sees it.
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
  add_link_options(-fsanitize=address,undefined)
endif()
if(QMF_THREAD_SANITIZE)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
if(QMF_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()
if(QMF_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
