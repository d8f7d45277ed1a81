# zelo_discover_tests(target [SOCKET] [TIMEOUT seconds]): each test case becomes a test of CTest
#   SOCKET  the tests use the messenger's socket, whose path is fixed: each has a /tmp of its own where this user may
#           make one, otherwise one runs after the other
include(GoogleTest)

set(ZELO_OWN_TMP "${PROJECT_SOURCE_DIR}/testkit/own-tmp.sh" "${PROJECT_SOURCE_DIR}" "${PROJECT_BINARY_DIR}" --)
execute_process(COMMAND ${ZELO_OWN_TMP} test -f "${CMAKE_CURRENT_LIST_FILE}" -a -d "${PROJECT_BINARY_DIR}"
                RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE reason)
if(result EQUAL 0)
  set(ZELO_HAS_OWN_TMP ON)
else()
  set(ZELO_HAS_OWN_TMP OFF)
  message(NOTICE "Tests of the socket run one after the other, because none can have a /tmp of its own: ${reason}")
endif()

function(zelo_discover_tests target)
  cmake_parse_arguments(T "SOCKET" "TIMEOUT" "" ${ARGN})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 180)
  endif()
  set(properties TIMEOUT ${T_TIMEOUT})
  if(T_SOCKET AND ZELO_HAS_OWN_TMP)
    set_property(TARGET ${target} PROPERTY CROSSCOMPILING_EMULATOR
                 ${ZELO_OWN_TMP} ${CMAKE_CROSSCOMPILING_EMULATOR})
  elseif(T_SOCKET)
    list(APPEND properties RESOURCE_LOCK messenger_socket)
  endif()
  # A parameter is named by its test; its printed value may hold a path of this machine.
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST NO_PRETTY_VALUES PROPERTIES ${properties})
endfunction()
