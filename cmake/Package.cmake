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
# CPack has a variable of its own for Multi-Arch from 3.31 on; until then the field follows another one's value.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION "libs\nMulti-Arch: same")
# For a foreign architecture CPack writes no scripts that call ldconfig.
file(WRITE "${PROJECT_BINARY_DIR}/debian/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/triggers")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "bridge between an application container and a set-top box
 The library that an application container loads to talk to the middleware of
 the box: configuration, remote control, volume, video window.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzelocobalt-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION "libdevel\nMulti-Arch: same")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libzelocobalt (= ${version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "header and build files of the set-top box bridge
 The public header, a pkg-config file and a CMake package.")
if(ZELO_SEPARATE_DEBUG)
  list(APPEND CPACK_COMPONENTS_ALL symbols)
  set(CPACK_DEBIAN_SYMBOLS_PACKAGE_NAME libzelocobalt-dbgsym)
  set(CPACK_DEBIAN_SYMBOLS_PACKAGE_SECTION "debug\nMulti-Arch: same")
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
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION "devel\nMulti-Arch: foreign")
  set(CPACK_COMPONENT_TOOLS_DESCRIPTION "set-top box on a desk
 Plays the middleware of a box, and a host that loads the bridge.")
endif()
if(TARGET zelobox AND NOT CMAKE_CROSSCOMPILING)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-zelobox)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), zelobox (>= ${version})")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION "drives zelobox from tests in Python
 The middleware of a set-top box, a host that loads the bridge, and a
 plugin for pytest.")
  set(modules lib/python3/dist-packages)
  install(DIRECTORY python/zelobox DESTINATION "${modules}" COMPONENT python EXCLUDE_FROM_ALL
          FILES_MATCHING PATTERN "*.py")
  # What pip would have written, so that pytest finds the plugin.
  file(WRITE "${PROJECT_BINARY_DIR}/debian/python/METADATA"
       "Metadata-Version: 2.1\nName: zelobox\nVersion: ${PROJECT_VERSION}\n")
  file(WRITE "${PROJECT_BINARY_DIR}/debian/python/entry_points.txt" "[pytest11]\nzelobox = zelobox.pytest_plugin\n")
  install(DIRECTORY "${PROJECT_BINARY_DIR}/debian/python/"
          DESTINATION "${modules}/zelobox-${PROJECT_VERSION}.dist-info" COMPONENT python EXCLUDE_FROM_ALL)
endif()
if(TARGET zelobox_proxy)
  list(APPEND CPACK_COMPONENTS_ALL recorder)
  set(CPACK_DEBIAN_RECORDER_PACKAGE_NAME zelobox-proxy)
  set(CPACK_DEBIAN_RECORDER_PACKAGE_DEPENDS "")
  set(CPACK_DEBIAN_RECORDER_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_RECORDER_PACKAGE_SECTION devel)
  set(CPACK_COMPONENT_RECORDER_DESCRIPTION "recorder of what a set-top box says
 One static program to be copied to a box. zelobox(1) describes it.")
  set(zelo_overrides_recorder
      "# Runs on a box whatever C++ runtime is there.\nstatically-linked-binary\nno-manual-page\n")
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
set(zelo_overrides_library "# The host loads it by this name.\nshared-library-lacks-version\n")
if(CPACK_DEBIAN_PACKAGE_SHLIBDEPS)
  string(APPEND zelo_overrides_library "# CPack writes the scripts.\nmaintscript-calls-ldconfig\n")
endif()
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER "${component}" upper)
  set(overrides "${documents}/overrides/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
  file(WRITE "${overrides}" "# No upload to Debian.\ninitial-upload-closes-no-bugs\n${zelo_overrides_${component}}")
  install(FILES "${overrides}" DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" COMPONENT ${component}
          EXCLUDE_FROM_ALL)
  install(FILES "${documents}/changelog.Debian.gz" "${documents}/copyright"
          DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}" COMPONENT ${component}
          EXCLUDE_FROM_ALL)
endforeach()
include(CPack)
