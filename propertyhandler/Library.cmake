# QivoPropertyHandler.dll, the COM server around the seven values.

# From the interface definition: header, class and interface ids, type library, proxy and stub.
find_program(WIDL ${triplet}-widl REQUIRED)
math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
set(idl ${CMAKE_CURRENT_SOURCE_DIR}/QivoPropertyHandler.idl)
set(generated ${CMAKE_CURRENT_BINARY_DIR}/generated)
set(stem ${generated}/propertyhandler/QivoPropertyHandler)
file(MAKE_DIRECTORY ${generated}/propertyhandler)
# A fixed time of making: the same sources give the same library.
set(widl ${CMAKE_COMMAND} -E env WIDL_TIME_OVERRIDE=0 ${WIDL} -m${bits} -I ${CMAKE_CURRENT_SOURCE_DIR}/midl)
add_custom_command(
  OUTPUT ${stem}.h ${stem}_i.c ${stem}.tlb ${stem}_p.c ${stem}_dlldata.c
  COMMAND ${widl} -h -H ${stem}.h ${idl}
  COMMAND ${widl} -u -U ${stem}_i.c ${idl}
  COMMAND ${widl} -t -T ${stem}.tlb ${idl}
  COMMAND ${widl} -p -P ${stem}_p.c ${idl}
  COMMAND ${widl} --dlldata-only --dlldata=${stem}_dlldata.c QivoPropertyHandler
  DEPENDS ${idl} ${CMAKE_CURRENT_SOURCE_DIR}/midl/unknwn.idl
  VERBATIM)

# Compiled as they come. The interface's proxy and stub: Wine's way of catching exceptions there is left out, since no
# method can raise any; the entry points get a prefix, since the library's own call them.
add_library(qivo_ids STATIC ${stem}_i.c ${stem}.h)
target_include_directories(qivo_ids PUBLIC ${generated})
add_library(qivo_proxy OBJECT ${stem}_p.c ${stem}_dlldata.c ${stem}.h)
target_include_directories(qivo_proxy PRIVATE ${generated}/propertyhandler)
target_compile_definitions(qivo_proxy PRIVATE USE_COMPILER_EXCEPTIONS REGISTER_PROXY_DLL ENTRY_PREFIX=Prx
  DECLSPEC_HIDDEN=)
target_compile_options(qivo_proxy PRIVATE -w
  # Declares the proxies of IUnknown's methods, which the generated file takes for granted.
  -include ${CMAKE_CURRENT_SOURCE_DIR}/midl/UnknownProxies.h)

# All of the library but its resources and exports, for tests to bring their own list of media modules.
add_library(qivo_handler OBJECT
  ClassFactory.cpp
  CQivoPropertyHandlerObj.cpp
  DllExports.cpp
  Registration.cpp
  RegistryLeftovers.cpp
  RuntimeLeftovers.cpp
  ServerModule.cpp)
qmf_target(qivo_handler)
target_link_libraries(qivo_handler PUBLIC qmf_properties qivo_ids)
add_library(qivo_server INTERFACE)
target_sources(qivo_server INTERFACE $<TARGET_OBJECTS:qivo_handler> $<TARGET_OBJECTS:qivo_proxy>)
target_link_libraries(qivo_server INTERFACE qmf_properties qivo_ids rpcrt4)

set(resource_files AppId.rgs QivoPropertyHandlerObj.rgs)
add_library(QivoPropertyHandler SHARED QivoPropertyHandler.rc QivoPropertyHandler.def)
qmf_target(QivoPropertyHandler)
set_target_properties(QivoPropertyHandler PROPERTIES PREFIX "" LINKER_LANGUAGE CXX)
target_link_libraries(QivoPropertyHandler PRIVATE qivo_server qmf)
if(bits EQUAL 32)
  target_link_options(QivoPropertyHandler PRIVATE -Wl,--enable-stdcall-fixup)
endif()
set(architecture x86)
if(bits EQUAL 64)
  set(architecture amd64)
endif()
set(manifest ${generated}/QivoPropertyHandler.manifest)
configure_file(QivoPropertyHandler.manifest.in ${manifest} @ONLY)
list(TRANSFORM resource_files PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
set_source_files_properties(QivoPropertyHandler.rc PROPERTIES
  OBJECT_DEPENDS "${resource_files};${manifest};${stem}.tlb"
  INCLUDE_DIRECTORIES "${PROJECT_SOURCE_DIR};${CMAKE_CURRENT_SOURCE_DIR};${generated};${generated}/propertyhandler")
qmf_version_block(QivoPropertyHandler "Qivo Property Handler")
