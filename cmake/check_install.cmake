# Test of the install rules: `cmake -DBUILD=<build dir> -P check_install.cmake`
# stages the build under a scratch prefix, as a firmware build system does, and
# checks that exactly the two programs land in sbin/.
set(stage ${BUILD}/install-check)
file(REMOVE_RECURSE ${stage})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${stage}/usr
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${rc}")
endif()
file(GLOB_RECURSE staged RELATIVE ${stage} ${stage}/*)
list(SORT staged)
if(NOT staged STREQUAL "usr/sbin/config;usr/sbin/data_collector")
  message(FATAL_ERROR "staged files: ${staged}")
endif()
foreach(prog config data_collector)
  file(READ ${stage}/usr/sbin/${prog} magic LIMIT 4 HEX)
  if(NOT magic STREQUAL "7f454c46")
    message(FATAL_ERROR "${prog} is not an executable")
  endif()
endforeach()
file(REMOVE_RECURSE ${stage})
