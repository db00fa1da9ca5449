# 32-bit little-endian MIPS with uClibc: Debian's cross compiler over the sysroot that
# scripts/lib/toolchain-uclibc builds. There is no C++ run-time library: the C compiler links.
if(NOT QUON_UCLIBC_SYSROOT)
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/lib/toolchain-uclibc --path
                  OUTPUT_VARIABLE QUON_UCLIBC_SYSROOT OUTPUT_STRIP_TRAILING_WHITESPACE
                  RESULT_VARIABLE quon_sysroot_missing)
  if(quon_sysroot_missing)
    message(FATAL_ERROR "The uClibc sysroot is not built yet: run scripts/lib/toolchain-uclibc first.")
  endif()
endif()
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QUON_UCLIBC_SYSROOT)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)

set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)

set(CMAKE_FIND_ROOT_PATH ${QUON_UCLIBC_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(quon_gcc_folder /usr/lib/gcc-cross/mipsel-linux-gnu/12)
set(quon_cxx_headers /usr/mipsel-linux-gnu/include/c++/12)
set(quon_c_headers "-isystem ${quon_gcc_folder}/include -isystem ${QUON_UCLIBC_SYSROOT}/usr/include")
set(CMAKE_C_FLAGS_INIT "-muclibc -nostdinc ${quon_c_headers}")
# The overlay makes C++ headers that were configured for glibc fit uClibc.
string(CONCAT CMAKE_CXX_FLAGS_INIT
  "-muclibc -nostdinc -nostdinc++ -isystem ${CMAKE_CURRENT_LIST_DIR}/uclibc/overlay "
  "-isystem ${quon_cxx_headers} -isystem ${quon_cxx_headers}/mipsel-linux-gnu ${quon_c_headers}")
# Code for programs alone: a quarter smaller than what could also go into a shared library.
set(QUON_PROGRAM_CODE -fno-pie -mno-shared -mplt)
string(CONCAT quon_link_flags
  "-muclibc -B${QUON_UCLIBC_SYSROOT}/usr/lib -L${QUON_UCLIBC_SYSROOT}/usr/lib "
  "-L${QUON_UCLIBC_SYSROOT}/lib -Wl,-rpath-link,${QUON_UCLIBC_SYSROOT}/lib")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-no-pie ${quon_link_flags}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${quon_link_flags}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${quon_link_flags}")
set(CMAKE_CXX_LINK_EXECUTABLE
  "<CMAKE_C_COMPILER> <FLAGS> <CMAKE_CXX_LINK_FLAGS> <LINK_FLAGS> <OBJECTS> -o <TARGET> <LINK_LIBRARIES>")

# G_SLICE: the emulator hangs now and then when a program forks while other threads run, unless it
# takes its own memory from malloc.
set(CMAKE_CROSSCOMPILING_EMULATOR
    env G_SLICE=always-malloc qemu-mipsel -L ${QUON_UCLIBC_SYSROOT})
