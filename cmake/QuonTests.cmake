include(GoogleTest)
find_package(GTest REQUIRED)

# What nearly every test reads, parsed once for all of them. Nobody needs the program: it gives the
# precompiled header the options that the tests have.
add_executable(quon_tests_pch EXCLUDE_FROM_ALL ${PROJECT_SOURCE_DIR}/cmake/precompiled.cpp)
set_target_properties(quon_tests_pch PROPERTIES EXPORT_COMPILE_COMMANDS OFF)
target_compile_options(quon_tests_pch PRIVATE ${QUON_TESTS_CODE})
target_link_libraries(quon_tests_pch PRIVATE quon_options GTest::gtest)
target_precompile_headers(quon_tests_pch PRIVATE
  <gtest/gtest.h> <algorithm> <chrono> <filesystem> <fstream> <functional> <optional> <thread>)

# A GoogleTest program. Usage:
#   quon_add_test(NAME SOURCES a_test.cpp LIBS libraries LABELS unit TIMEOUT 60)
# Every TEST becomes one ctest test, so each runs in a process of its own.
function(quon_add_test name)
  cmake_parse_arguments(ARG "RUN_SERIAL" "TIMEOUT" "SOURCES;LIBS;LABELS;FIXTURES" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  set(fixtures "")
  if(ARG_FIXTURES)
    set(fixtures FIXTURES_REQUIRED ${ARG_FIXTURES})
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} quon_options GTest::gtest GTest::gtest_main)
  target_precompile_headers(${name} REUSE_FROM quon_tests_pch)
  # So that a compiler cache sees which precompiled header was read.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${name} PRIVATE -fpch-preprocess)
  endif()
  # Tests may use 64-bit atomics, which are functions of a library there; the daemon may not.
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "mipsel")
    target_link_libraries(${name} PRIVATE -Wl,--as-needed atomic)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES
    TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}" RUN_SERIAL ${ARG_RUN_SERIAL} ${fixtures})
endfunction()
