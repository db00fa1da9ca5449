# What every target of the tree has in common, and the two families of targets:
# device code (no C++ run-time library) and host code (the whole language).

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
if(NOT DEFINED CMAKE_POSITION_INDEPENDENT_CODE)
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
endif()
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

# g++ adds the C++ library to the programs that it links by itself. Without this list CMake
# leaves it out of the programs that the C compiler links (the daemon must not need it).
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")

option(QUON_WERROR "Treat warnings as errors (for a compiler that the tree is known to suit)" OFF)
set(QUON_SANITIZE "" CACHE STRING "Sanitizers for every target, e.g. address,undefined")
option(QUON_BOTH_LINKS "Also build each device library shared and each device program static" OFF)
option(QUON_HARDENING "Full RELRO, stack protector, fortify, PIE" OFF)

find_package(Threads REQUIRED)

add_library(quon_options INTERFACE)
target_compile_options(quon_options INTERFACE -Wall -Wextra -Wshadow -Wconversion)
target_compile_definitions(quon_options INTERFACE _GNU_SOURCE)
if(QUON_WERROR)
  target_compile_options(quon_options INTERFACE -Werror)
endif()
if(QUON_SANITIZE)
  target_compile_options(quon_options INTERFACE -fsanitize=${QUON_SANITIZE}
                                                -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quon_options INTERFACE -fsanitize=${QUON_SANITIZE})
endif()
if(QUON_HARDENING)
  target_compile_options(quon_options INTERFACE -fstack-protector-strong -D_FORTIFY_SOURCE=2)
  target_link_options(quon_options INTERFACE -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
  include(CheckPIESupported)
  check_pie_supported()
endif()

add_library(quon_device_options INTERFACE)
target_link_libraries(quon_device_options INTERFACE quon_options)
target_compile_options(quon_device_options INTERFACE
  -ffunction-sections -fdata-sections
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)
target_link_options(quon_device_options INTERFACE -Wl,--gc-sections -Wl,--as-needed)

option(QUON_COVERAGE "Count what the device's code executes, for gcov" OFF)
if(QUON_COVERAGE)
  target_compile_options(quon_device_options INTERFACE --coverage -O0 -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# The shared counterpart of a device library, under the same file name. Links the libraries that its
# users see (LIBS) and those that only it knows (PRIVATE_LIBS).
function(quon_shared_counterpart name)
  cmake_parse_arguments(ARG "" "" "LIBS;PRIVATE_LIBS" ${ARGN})
  get_target_property(sources ${name} SOURCES)
  add_library(${name}_shared SHARED ${sources})
  set_target_properties(${name}_shared PROPERTIES OUTPUT_NAME ${name} LINKER_LANGUAGE C
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  target_include_directories(${name}_shared
    PUBLIC $<TARGET_PROPERTY:${name},INTERFACE_INCLUDE_DIRECTORIES>
    PRIVATE $<TARGET_PROPERTY:${name},INCLUDE_DIRECTORIES>)
  target_compile_definitions(${name}_shared PRIVATE $<TARGET_PROPERTY:${name},COMPILE_DEFINITIONS>)
  target_link_options(${name}_shared PRIVATE -Wl,-z,defs)
  foreach(kind LIBS PRIVATE_LIBS)
    set(visibility PUBLIC)
    if(kind STREQUAL "PRIVATE_LIBS")
      set(visibility PRIVATE)
    endif()
    foreach(lib IN LISTS ARG_${kind})
      if(TARGET ${lib}_shared)
        set(lib ${lib}_shared)
      endif()
      target_link_libraries(${name}_shared ${visibility} ${lib})
    endforeach()
  endforeach()
  target_link_libraries(${name}_shared PUBLIC Threads::Threads PRIVATE quon_device_options)
endfunction()

# Installs a program or a library of the named component, without what only a debugger reads.
function(quon_install_stripped name component)
  install(TARGETS ${name}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
  # A sanitizer's reports name functions.
  if(NOT CMAKE_STRIP OR QUON_SANITIZE)
    return()
  endif()
  get_target_property(type ${name} TYPE)
  set(folder ${CMAKE_INSTALL_LIBDIR})
  set(what --strip-unneeded)
  if(type STREQUAL "EXECUTABLE")
    set(folder ${CMAKE_INSTALL_BINDIR})
  elseif(type STREQUAL "STATIC_LIBRARY")
    set(what --strip-debug --enable-deterministic-archives)
    set(component dev)
  endif()
  set(file "\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${folder}/$<TARGET_FILE_NAME:${name}>")
  string(JOIN " " what ${what})
  install(CODE "execute_process(COMMAND ${CMAKE_STRIP} ${what} \"${file}\" COMMAND_ERROR_IS_FATAL ANY)"
          COMPONENT ${component})
endfunction()

# NAME_headers: the public headers of a device library, with those of the libraries that come with it.
function(quon_headers_alone name)
  add_library(${name}_headers INTERFACE)
  target_include_directories(${name}_headers INTERFACE
    $<TARGET_PROPERTY:${name},INTERFACE_INCLUDE_DIRECTORIES>)
endfunction()

# What a program outside this build links beside a library that uses the named ones: PC_REQUIRES
# (other pkg-config files) and PC_LIBS. A target without a file of its own says it in QUON_PC_LIBS.
function(quon_pkg_config_needs)
  set(requires "")
  set(libs "")
  foreach(lib IN LISTS ARGN)
    get_target_property(pc_libs ${lib} QUON_PC_LIBS)
    if(pc_libs)
      string(APPEND libs " ${pc_libs}")
    else()
      list(APPEND requires ${lib})
    endif()
  endforeach()
  string(JOIN ", " requires ${requires})
  set(PC_REQUIRES "${requires}" PARENT_SCOPE)
  set(PC_LIBS "${libs} -pthread" PARENT_SCOPE)
endfunction()

# The installed pkg-config files find their prefix by their own place, so that it can be chosen when
# installing.
file(RELATIVE_PATH PC_PREFIX_FROM_FILE
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" PC_PREFIX_FROM_FILE "${PC_PREFIX_FROM_FILE}")

# A library of the device, linked by the C driver. Usage:
#   quon_device_library(NAME SOURCES a.cpp b.cpp INCLUDE dir HEADERS dir/public.h LIBS other
#                       PRIVATE_LIBS hidden)
# INCLUDE is the folder of the public headers; HEADERS are installed. STATIC: never a shared library,
# like a library without HEADERS, which is not installed. LIBS come with the library's own headers;
# the headers of PRIVATE_LIBS stay out of its users' sight. NAME_headers is the headers alone, for
# whoever puts other functions behind them.
function(quon_device_library name)
  cmake_parse_arguments(ARG "STATIC" "INCLUDE" "SOURCES;HEADERS;LIBS;PRIVATE_LIBS" ${ARGN})
  if(ARG_STATIC)
    add_library(${name} STATIC ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  else()
    if(ARG_HEADERS)
      add_library(${name} ${ARG_SOURCES})
    else()
      add_library(${name} STATIC ${ARG_SOURCES})
    endif()
    target_compile_options(${name} PRIVATE ${QUON_PROGRAM_CODE})
  endif()
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE C VERSION ${PROJECT_VERSION}
                                           SOVERSION ${PROJECT_VERSION_MAJOR})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/${ARG_INCLUDE}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/quon>)
  target_link_libraries(${name} PUBLIC ${ARG_LIBS} Threads::Threads
                                PRIVATE ${ARG_PRIVATE_LIBS} $<BUILD_INTERFACE:quon_device_options>)
  quon_headers_alone(${name})
  if(QUON_BOTH_LINKS AND NOT ARG_STATIC)
    quon_shared_counterpart(${name} LIBS ${ARG_LIBS} PRIVATE_LIBS ${ARG_PRIVATE_LIBS})
  endif()
  if(ARG_HEADERS)
    if(TARGET ${name}_shared)
      quon_install_stripped(${name}_shared libraries)
    endif()
    quon_install_stripped(${name} libraries)
    install(FILES ${ARG_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quon COMPONENT dev)
    quon_pkg_config_needs(${ARG_LIBS})
    set(PC_NAME ${name})
    configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in
                   ${CMAKE_BINARY_DIR}/pkgconfig/${name}.pc @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/pkgconfig/${name}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
  endif()
endfunction()

# A program of the device, linked by the C driver, and the component that it is installed with; its
# static form, where there is one, is of the component `static`.
function(quon_device_program name)
  cmake_parse_arguments(ARG "" "COMPONENT" "SOURCES;LIBS" ${ARGN})
  set(links ${name})
  if(QUON_BOTH_LINKS)
    list(APPEND links ${name}_static)
  endif()
  foreach(program IN LISTS links)
    add_executable(${program} ${ARG_SOURCES})
    set_target_properties(${program} PROPERTIES LINKER_LANGUAGE C)
    target_compile_options(${program} PRIVATE ${QUON_PROGRAM_CODE})
    target_link_libraries(${program} PRIVATE ${ARG_LIBS} quon_device_options)
  endforeach()
  if(QUON_BOTH_LINKS)
    target_link_options(${name}_static PRIVATE -static)
    quon_install_stripped(${name}_static static)
  endif()
  quon_install_stripped(${name} ${ARG_COMPONENT})
endfunction()
