# What a box and a developer for the box get, in three components: library, development, tools.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

target_include_directories(zelocobalt INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zelocobalt>)
if(NOT ZELO_CXX11_ABI)
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
# The installed files may be moved as a whole: pkg-config counts from where its file is.
file(RELATIVE_PATH ZELO_PC_PREFIX "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(PREPEND ZELO_PC_PREFIX "\${pcfiledir}/")
string(REGEX REPLACE "/$" "" ZELO_PC_PREFIX "${ZELO_PC_PREFIX}")
foreach(directory IN ITEMS LIBDIR INCLUDEDIR)
  set(ZELO_PC_${directory} "\${prefix}/${CMAKE_INSTALL_${directory}}")
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${directory}}")
    set(ZELO_PC_${directory} "${CMAKE_INSTALL_${directory}}")
  endif()
endforeach()
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
  # Where the shells of a distribution look.
  install(FILES packaging/completion/zelobox.bash RENAME zelobox
          DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT tools)
  install(FILES packaging/completion/_zelobox DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions"
          COMPONENT tools)
  install(FILES packaging/completion/zelobox.fish DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d"
          COMPONENT tools)
endif()

if(TARGET zelobox_proxy)
  install(TARGETS zelobox_proxy RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT recorder)
endif()

if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall COMMENT "Removing what the last installation in this build has installed"
                    COMMAND "${CMAKE_COMMAND}" -P "${CMAKE_CURRENT_LIST_DIR}/Uninstall.cmake")
  include(Package)
endif()
