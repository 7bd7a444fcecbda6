# The Debian package of qmfinfo, made by "cpack -G DEB" in the build's folder.
if(CMAKE_CROSSCOMPILING OR NOT QMF_MAN_PYTHON OR NOT SCDOC)
  return()
endif()
set(texts ${CMAKE_BINARY_DIR}/debian)
file(MAKE_DIRECTORY ${texts})
set(maintainer "Qivo maintainers <maintainers@qivo.invalid>")
add_custom_command(OUTPUT ${texts}/changelog.gz
  COMMAND ${QMF_MAN_PYTHON} ${PROJECT_SOURCE_DIR}/packaging/debian/changelog.py ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    ${maintainer} ${texts}/changelog
  COMMAND gzip -9nf ${texts}/changelog
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/debian/changelog.py ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    qmfinfo
  VERBATIM)
add_custom_target(qmfinfo_changelog ALL DEPENDS ${texts}/changelog.gz)
set(doc ${CMAKE_INSTALL_DATADIR}/doc/qmfinfo)
install(FILES ${texts}/changelog.gz packaging/debian/copyright DESTINATION ${doc} COMPONENT qmfinfo)

set(CPACK_PACKAGE_VENDOR Qivo)
set(CPACK_PACKAGE_CONTACT ${maintainer})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL qmfinfo)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_QMFINFO_PACKAGE_NAME qmfinfo)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_QMFINFO_DESCRIPTION "says what is in a video file
qmfinfo prints duration, frame size, frame rate, channels and sample rate of
Matroska, AVI and MP4 files and of H.264, AAC and SubRip streams, without
decoding them, and reads their media blocks. It reads thousands of files at
once, speaks JSON and CSV, and explains why a value is what it is.")
include(CPack)
