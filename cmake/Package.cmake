# Debian packages: the library, what is needed to build against it, and zelobox.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zelocobalt)
set(CPACK_PACKAGE_VENDOR "The zelocobalt developers")
set(CPACK_PACKAGE_CONTACT "The zelocobalt developers <developers@zelocobalt.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(CMAKE_CROSSCOMPILING)
  # The dependencies of a cross build are read off the cross compiler's own libraries.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1 (>= 3.5), libstdc++6 (>= 12)")
  if(ZELO_ARM_FLOAT_ABI STREQUAL hard)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  else()
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armel)
  endif()
endif()

set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
set(CPACK_COMPONENTS_ALL library development)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libzelocobalt)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
# The trigger takes the place of the ldconfig scripts that CPack would write.
file(WRITE "${PROJECT_BINARY_DIR}/debian/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/triggers")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "bridge between an application container and a set-top box
 The library that an application container loads to talk to the middleware of
 the box: configuration, remote control, volume, video window.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzelocobalt-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libzelocobalt (= ${version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "header and build files of the set-top box bridge
 The public header, a pkg-config file and a CMake package.")
if(ZELO_SEPARATE_DEBUG)
  list(APPEND CPACK_COMPONENTS_ALL symbols)
  set(CPACK_DEBIAN_SYMBOLS_PACKAGE_NAME libzelocobalt-dbgsym)
  set(CPACK_DEBIAN_SYMBOLS_PACKAGE_SECTION debug)
  set(CPACK_DEBIAN_SYMBOLS_PACKAGE_DEPENDS "libzelocobalt (= ${version})")
  set(CPACK_DEBIAN_SYMBOLS_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_COMPONENT_SYMBOLS_DESCRIPTION "debug symbols for libzelocobalt
 Found by debuggers under the build id of the library.")
  # The place follows from what the file is, which is known when it is built.
  install(CODE "
    execute_process(COMMAND \"${CMAKE_READELF}\" --notes \"$<TARGET_FILE:zelocobalt>\" OUTPUT_VARIABLE notes)
    string(REGEX MATCH \"Build ID: (..)([0-9a-f]+)\" found \"\${notes}\")
    file(INSTALL \"$<TARGET_FILE:zelocobalt>.debug\" RENAME \"\${CMAKE_MATCH_2}.debug\"
         DESTINATION \"\${CMAKE_INSTALL_PREFIX}/lib/debug/.build-id/\${CMAKE_MATCH_1}\"
         PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)"
    COMPONENT symbols EXCLUDE_FROM_ALL)
endif()
if(TARGET zelobox)
  list(APPEND CPACK_COMPONENTS_ALL tools)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zelobox)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libzelocobalt (= ${version})")
  if(CMAKE_CROSSCOMPILING)
    string(APPEND CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ", ${CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS}")
  endif()
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
  set(CPACK_COMPONENT_TOOLS_DESCRIPTION "set-top box on a desk
 Plays the middleware of a box, and a container that loads the bridge.")
endif()
if(TARGET zelobox AND NOT CMAKE_CROSSCOMPILING)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-zelobox)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), zelobox (>= ${version})")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION "tests of both sides of a set-top box's socket
 Context managers for a middleware and a host, and a plugin for pytest.")
endif()
if(TARGET zelobox_proxy)
  list(APPEND CPACK_COMPONENTS_ALL recorder)
  set(CPACK_DEBIAN_RECORDER_PACKAGE_NAME zelobox-proxy)
  set(CPACK_DEBIAN_RECORDER_PACKAGE_DEPENDS "")
  set(CPACK_DEBIAN_RECORDER_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_RECORDER_PACKAGE_SECTION devel)
  set(CPACK_COMPONENT_RECORDER_DESCRIPTION "recorder of what a set-top box says
 One static program to be copied to a box. zelobox(1) describes it.")
  # It is static so that it runs whatever is installed there.
  file(WRITE "${PROJECT_BINARY_DIR}/debian/zelobox-proxy" "zelobox-proxy: statically-linked-binary
zelobox-proxy: no-manual-page
")
  install(FILES "${PROJECT_BINARY_DIR}/debian/zelobox-proxy" DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides"
          COMPONENT recorder EXCLUDE_FROM_ALL)
endif()

# What the Debian policy wants beside the files themselves; a plain installation goes without.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(documents "${PROJECT_BINARY_DIR}/debian")
file(CONFIGURE OUTPUT "${documents}/changelog.Debian" @ONLY CONTENT
"zelocobalt (@version@) unstable; urgency=medium

  * The changes are listed in CHANGELOG.md.

 -- @CPACK_PACKAGE_CONTACT@  @date@
")
file(CONFIGURE OUTPUT "${documents}/copyright" @ONLY CONTENT
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: zelocobalt

Files: *
Copyright: 2026 The zelocobalt developers
License: Apache-2.0
 On Debian systems the text is in /usr/share/common-licenses/Apache-2.0.
")
execute_process(COMMAND gzip -9nf changelog.Debian WORKING_DIRECTORY "${documents}" COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER "${component}" upper)
  install(FILES "${documents}/changelog.Debian.gz" "${documents}/copyright"
          DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}" COMPONENT ${component}
          EXCLUDE_FROM_ALL)
endforeach()
include(CPack)
