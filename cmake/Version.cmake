# The newest release that CHANGELOG.md tells of, or is gathering the news for, is what is built.
set(changelog ${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md)
file(STRINGS ${changelog} QMF_VERSION LIMIT_COUNT 1 REGEX "^## [0-9]")
string(REGEX MATCH "[0-9]+\\.[0-9]+\\.[0-9]+" QMF_VERSION "${QMF_VERSION}")
if(NOT QMF_VERSION)
  message(FATAL_ERROR "CHANGELOG.md has no heading with a version")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changelog})
