# What a box and a developer for the box get, in three components: library, development, tools.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

target_include_directories(zelocobalt INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zelocobalt>)
if(NOT ZELO_CXX11_ABI)
  target_compile_definitions(zelocobalt INTERFACE _GLIBCXX_USE_CXX11_ABI=0)
  set(ZELO_PC_CFLAGS " -D_GLIBCXX_USE_CXX11_ABI=0")
endif()

install(TARGETS zelocobalt EXPORT zelocobalt-targets
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library)
install(FILES cobalt/ZeloCobalt.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/zelocobalt" COMPONENT development)

set(ZELO_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/zelocobalt")
file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/links")
install(EXPORT zelocobalt-targets NAMESPACE zelocobalt:: FILE zelocobalt-config.cmake DESTINATION "${ZELO_CMAKE_DIR}"
        COMPONENT development)
write_basic_package_version_file(zelocobalt-config-version.cmake COMPATIBILITY SameMajorVersion)
configure_file(cmake/zelocobalt.pc.in zelocobalt.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/zelocobalt-config-version.cmake" DESTINATION "${ZELO_CMAKE_DIR}"
        COMPONENT development)
install(FILES "${PROJECT_BINARY_DIR}/zelocobalt.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
        COMPONENT development)

# zelobox looks for both libraries beside itself, so it has a directory of its own.
if(TARGET zelobox AND TARGET zelostb)
  set(private "${CMAKE_INSTALL_LIBDIR}/zelobox")
  install(TARGETS zelobox zelostb RUNTIME DESTINATION "${private}" COMPONENT tools
          LIBRARY DESTINATION "${private}" COMPONENT tools)
  file(CREATE_LINK ../libzelocobalt.so "${PROJECT_BINARY_DIR}/links/libzelocobalt.so" SYMBOLIC)
  file(CREATE_LINK "../${private}/zelobox" "${PROJECT_BINARY_DIR}/links/zelobox" SYMBOLIC)
  install(FILES "${PROJECT_BINARY_DIR}/links/libzelocobalt.so" DESTINATION "${private}" COMPONENT tools)
  install(FILES "${PROJECT_BINARY_DIR}/links/zelobox" DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
  configure_file(docs/zelobox.1 zelobox.1 COPYONLY)
  execute_process(COMMAND gzip -9nkf zelobox.1 WORKING_DIRECTORY "${PROJECT_BINARY_DIR}" COMMAND_ERROR_IS_FATAL ANY)
  install(FILES "${PROJECT_BINARY_DIR}/zelobox.1.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
endif()

if(PROJECT_IS_TOP_LEVEL)
  include(Package)
endif()
