include(GoogleTest)
find_package(GTest REQUIRED)

# A GoogleTest program. Usage:
#   quon_add_test(NAME SOURCES a_test.cpp LIBS libraries LABELS unit TIMEOUT 60)
# Every TEST becomes one ctest test, so each runs in a process of its own.
function(quon_add_test name)
  cmake_parse_arguments(ARG "RUN_SERIAL" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} quon_options GTest::gtest GTest::gtest_main)
  # Tests may use 64-bit atomics, which are functions of a library there; the daemon may not.
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "mipsel")
    target_link_libraries(${name} PRIVATE -Wl,--as-needed atomic)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES
    TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}" RUN_SERIAL ${ARG_RUN_SERIAL})
endfunction()
