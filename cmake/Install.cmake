# What "cmake --install" puts where: the component qmfinfo is the program with its texts, development is the framework
# for programs that embed it.
include(CMakePackageConfigHelpers)

install(TARGETS qmfinfo RUNTIME COMPONENT qmfinfo)
if(WIN32)
  # The rest of the Windows packages is put together by ./package.
  install(TARGETS QivoPropertyHandler shellprops RUNTIME COMPONENT qmfinfo)
  return()
endif()

# One archive for the linker of others.
add_library(qmf_installed STATIC)
foreach(part qmf_framework qmf_streamlib qmf_readers qmf_module_list qmf_properties qmf_version)
  target_sources(qmf_installed PRIVATE $<TARGET_OBJECTS:${part}>)
endforeach()
set_target_properties(qmf_installed PROPERTIES OUTPUT_NAME qmf EXPORT_NAME qmf LINKER_LANGUAGE CXX
  ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
target_compile_features(qmf_installed PUBLIC cxx_std_20)
target_include_directories(qmf_installed INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qmf>)
target_link_libraries(qmf_installed PRIVATE ZLIB::ZLIB)

# The headers that docs/embedding.md is about; the others may change at any time.
set(public_headers
  framework/Allocator.h framework/Container.h framework/FourCC.h framework/InfoRecords.h framework/LogFolder.h
  framework/ModuleInterface.h framework/ModuleTable.h framework/QueryIds.h framework/QueryIds.inc
  framework/ResultCodes.h framework/ResultCodes.inc framework/Text.h framework/Version.h
  propertyhandler/PropertyIds.h propertyhandler/PropertyValues.h)
foreach(header ${public_headers})
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qmf/${folder} COMPONENT development)
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/QMF)
install(TARGETS qmf_installed EXPORT qmf ARCHIVE COMPONENT development)
install(EXPORT qmf NAMESPACE QMF:: FILE QMFTargets.cmake DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/QMFConfig.cmake.in ${CMAKE_BINARY_DIR}/QMFConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/QMFConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/QMFConfig.cmake ${CMAKE_BINARY_DIR}/QMFConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# Found where it lies, not where it was built for: the tree may be moved.
file(RELATIVE_PATH to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/qmf.pc.in qmf.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/qmf.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
