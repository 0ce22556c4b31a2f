# Cross-compiles for the card's 32-bit ARM Linux with any GCC-compatible cross compiler.
#
# The compiler, first of:
# - CMAKE_CXX_COMPILER (and CMAKE_C_COMPILER) given with -D, or CXX (and CC) in the environment;
# - EMAILSERVICE_CROSS_PREFIX (cache or environment), else CROSS_COMPILE (environment): the
#   compiler's path up to "g++", e.g. /opt/sdk/bin/armv7a-vendor-linux-gnueabihf-;
# - Debian's g++-arm-linux-gnueabihf (prefix arm-linux-gnueabihf-).
#
# The card's libraries and headers (C library, C++ runtime, protobuf, the platform):
# - CMAKE_SYSROOT, the card SDK's root file system, and CMAKE_FIND_ROOT_PATH, more roots searched
#   for libraries, headers and CMake packages. Given either, nothing else is assumed.
# - Given neither: the sysroot of Debian's armhf packages that scripts/make-armhf-sysroot.sh makes
#   (EMAILSERVICE_ARMHF_SYSROOT, cache or environment; default build/sysroot-armhf of the source
#   tree), beside the C and C++ libraries that Debian's cross compiler brings.
#
# Programs (protoc) always come from the build machine; armhf programs built here (tests, the
# simulator) run on it through qemu-arm when it is installed.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

# The variables that the compiler checks of try_compile need when they read this file again.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES EMAILSERVICE_CROSS_PREFIX EMAILSERVICE_ARMHF_SYSROOT CMAKE_FIND_ROOT_PATH)

if(NOT DEFINED EMAILSERVICE_CROSS_PREFIX)
  if(DEFINED ENV{EMAILSERVICE_CROSS_PREFIX})
    set(EMAILSERVICE_CROSS_PREFIX $ENV{EMAILSERVICE_CROSS_PREFIX})
  elseif(DEFINED ENV{CROSS_COMPILE})
    set(EMAILSERVICE_CROSS_PREFIX $ENV{CROSS_COMPILE})
  else()
    set(EMAILSERVICE_CROSS_PREFIX arm-linux-gnueabihf-)
  endif()
endif()
set(EMAILSERVICE_CROSS_PREFIX ${EMAILSERVICE_CROSS_PREFIX} CACHE STRING
  "The cross compiler's path up to g++ or gcc, used when no compiler is given")
if(NOT CMAKE_CXX_COMPILER AND NOT DEFINED ENV{CXX})
  set(CMAKE_CXX_COMPILER ${EMAILSERVICE_CROSS_PREFIX}g++)
endif()
if(NOT CMAKE_C_COMPILER AND NOT DEFINED ENV{CC})
  set(CMAKE_C_COMPILER ${EMAILSERVICE_CROSS_PREFIX}gcc)
endif()

# GCC's notes that the passing of some parameters changed in GCC 7.1 concern code that mixes
# objects of older compilers; everything here is built by one compiler.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")

# The Debian sysroot fills CMAKE_FIND_ROOT_PATH itself: a root of the user's is one given without it.
if(CMAKE_SYSROOT OR (CMAKE_FIND_ROOT_PATH AND NOT EMAILSERVICE_ARMHF_SYSROOT))
  set(_card_root ${CMAKE_SYSROOT})
else()
  if(NOT EMAILSERVICE_ARMHF_SYSROOT)
    if(DEFINED ENV{EMAILSERVICE_ARMHF_SYSROOT})
      set(EMAILSERVICE_ARMHF_SYSROOT $ENV{EMAILSERVICE_ARMHF_SYSROOT})
    else()
      get_filename_component(EMAILSERVICE_ARMHF_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-armhf ABSOLUTE)
    endif()
  endif()
  set(EMAILSERVICE_ARMHF_SYSROOT ${EMAILSERVICE_ARMHF_SYSROOT} CACHE PATH
    "Sysroot of Debian's armhf libraries (scripts/make-armhf-sysroot.sh), used without CMAKE_SYSROOT")
  if(NOT EXISTS ${EMAILSERVICE_ARMHF_SYSROOT}/usr/include/google/protobuf)
    message(FATAL_ERROR "No armhf sysroot in ${EMAILSERVICE_ARMHF_SYSROOT}: run scripts/make-armhf-sysroot.sh, "
      "or give the card SDK's root with -DCMAKE_SYSROOT=")
  endif()
  set(_card_root ${EMAILSERVICE_ARMHF_SYSROOT})
  set(CMAKE_FIND_ROOT_PATH ${EMAILSERVICE_ARMHF_SYSROOT})
  set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
  # Debian's packages hold only libraries, not the C library the compiler brings: the compiler
  # sees their headers and libraries after its own, so that a program built outside CMake with
  # these flags (the install test's pkg-config consumer) finds them too, and the libraries that
  # libprotobuf itself needs (zlib) are found at link time.
  set(_armhf_lib ${EMAILSERVICE_ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf)
  set(_armhf_link "-L${_armhf_lib} -Wl,-rpath-link,${_armhf_lib}:${EMAILSERVICE_ARMHF_SYSROOT}/lib/arm-linux-gnueabihf")
  set(CMAKE_EXE_LINKER_FLAGS_INIT ${_armhf_link})
  set(CMAKE_SHARED_LINKER_FLAGS_INIT ${_armhf_link})
  string(APPEND CMAKE_CXX_FLAGS_INIT " -idirafter ${EMAILSERVICE_ARMHF_SYSROOT}/usr/include")
endif()

# Libraries, headers and packages from the card's roots only; programs from the build machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

if(NOT CMAKE_CROSSCOMPILING_EMULATOR AND _card_root)
  find_program(EMAILSERVICE_QEMU_ARM qemu-arm)
  if(EMAILSERVICE_QEMU_ARM)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${EMAILSERVICE_QEMU_ARM} -L ${_card_root})
  endif()
endif()
