# vexil_add_test(NAME name SOURCES file... [LIBS target...] [LABELS label...] [SERVERS server...])
#
# One test program, one CTest test of the same name. Labels: unit (no network), wire (scripted peer on
# loopback), server (real servers, which with-servers.sh starts and stops), package, linux (depends on how Linux
# binds symbols, or on its system calls), threads. Tests with servers or for Linux are not built for other systems.
# Servers: s3, nginx, ftp, pureftpd, proftpd, vsftpd, tinyproxy, smtp, exim.
add_custom_target(threads-tests)

function(vexil_add_test)
  cmake_parse_arguments(ARG "EACH_ENGINE" "NAME" "SOURCES;LIBS;LABELS;SERVERS" ${ARGN})
  set(exclude)
  if(("linux" IN_LIST ARG_LABELS OR ARG_SERVERS) AND NOT CMAKE_SYSTEM_NAME STREQUAL "Linux")
    set(exclude EXCLUDE_FROM_ALL)
  endif()
  add_executable(${ARG_NAME} ${exclude} ${ARG_SOURCES})
  vexil_target_defaults(${ARG_NAME})
  if("threads" IN_LIST ARG_LABELS)
    add_dependencies(threads-tests ${ARG_NAME})
  endif()
  # Tests need not be fast, and optimising GoogleTest's macros takes most of the build time.
  target_compile_options(${ARG_NAME} PRIVATE -O0)
  target_link_libraries(${ARG_NAME} PRIVATE ${ARG_LIBS} GTest::gmock GTest::gtest_main)
  if(VEXIL_PRECOMPILE_HEADERS AND vexil IN_LIST ARG_LIBS)
    target_precompile_headers(${ARG_NAME} REUSE_FROM vexil_test_headers)
  endif()
  set_target_properties(${ARG_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/tests")
  if(exclude)
    return()
  endif()
  set(command ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${ARG_NAME}> --gtest_brief=1)
  if(ARG_SERVERS)
    set(command "${PROJECT_SOURCE_DIR}/tests/servers/with-servers.sh" ${ARG_SERVERS} -- ${command})
  endif()
  add_test(NAME ${ARG_NAME} COMMAND ${command})
  set_tests_properties(${ARG_NAME} PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 300
    ENVIRONMENT "${VEXIL_TEST_ENVIRONMENT}")
  if(ARG_SERVERS)
    set_tests_properties(${ARG_NAME} PROPERTIES TIMEOUT 900)
  endif()
  if(ARG_EACH_ENGINE)
    add_test(NAME ${ARG_NAME}Sockets COMMAND ${command})
    set_tests_properties(${ARG_NAME}Sockets PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 300
      ENVIRONMENT "${VEXIL_TEST_ENVIRONMENT};VEXIL_TEST_ENGINE=sockets")
  endif()
endfunction()
