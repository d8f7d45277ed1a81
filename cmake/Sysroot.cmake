# A compiler that was built with its C library beside itself takes that one whatever --sysroot says.
if(CMAKE_SYSROOT)
  set(command "${CMAKE_CXX_COMPILER}" "--sysroot=${CMAKE_SYSROOT}")
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    list(APPEND command "--target=${CMAKE_CXX_COMPILER_TARGET}")
  endif()
  execute_process(COMMAND ${command} -print-file-name=libc.so.6
                  OUTPUT_VARIABLE libc OUTPUT_STRIP_TRAILING_WHITESPACE)
  get_filename_component(libc "${libc}" REALPATH)
  get_filename_component(sysroot "${CMAKE_SYSROOT}" REALPATH)
  string(FIND "${libc}" "${sysroot}/" position)
  if(NOT position EQUAL 0)
    message(FATAL_ERROR "The sysroot has no effect: ${CMAKE_CXX_COMPILER} takes its C library from ${libc}, not from "
            "${sysroot}. Take the compiler that belongs to the sysroot, or -DZELO_ARM_COMPILER=clang.")
  endif()
endif()
