# Cross-compiles for the card's 32-bit ARM Linux (armhf: ARMv7, hard float) with Debian's
# g++-arm-linux-gnueabihf. The compiler brings its own C and C++ libraries; protobuf and the test
# libraries come from the sysroot that scripts/make-armhf-sysroot.sh makes, and armhf programs
# run on the build machine through qemu-arm with that sysroot as their root.
#
# EMAILSERVICE_ARMHF_SYSROOT (cache or environment): the sysroot; default build/sysroot-armhf of the
# source tree.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

if(NOT EMAILSERVICE_ARMHF_SYSROOT)
  if(DEFINED ENV{EMAILSERVICE_ARMHF_SYSROOT})
    set(EMAILSERVICE_ARMHF_SYSROOT $ENV{EMAILSERVICE_ARMHF_SYSROOT})
  else()
    get_filename_component(EMAILSERVICE_ARMHF_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-armhf ABSOLUTE)
  endif()
endif()
set(EMAILSERVICE_ARMHF_SYSROOT ${EMAILSERVICE_ARMHF_SYSROOT} CACHE PATH "Sysroot of the armhf libraries (scripts/make-armhf-sysroot.sh)")
# The compiler checks of try_compile read this file again and need the same sysroot.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES EMAILSERVICE_ARMHF_SYSROOT)
if(NOT EXISTS ${EMAILSERVICE_ARMHF_SYSROOT}/usr/include/google/protobuf)
  message(FATAL_ERROR "No armhf sysroot in ${EMAILSERVICE_ARMHF_SYSROOT}: run scripts/make-armhf-sysroot.sh first")
endif()

# Libraries, headers and packages from the sysroot only; programs (protoc) from the build machine.
set(CMAKE_FIND_ROOT_PATH ${EMAILSERVICE_ARMHF_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The flags make the compiler see the sysroot's headers and libraries after its own, so that a
# program built outside CMake with them (the install test's pkg-config consumer) finds them too; the
# libraries that libprotobuf itself needs (zlib) are found there at link time.
set(_armhf_lib ${EMAILSERVICE_ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf)
set(_armhf_link "-L${_armhf_lib} -Wl,-rpath-link,${_armhf_lib}:${EMAILSERVICE_ARMHF_SYSROOT}/lib/arm-linux-gnueabihf")
set(CMAKE_EXE_LINKER_FLAGS_INIT ${_armhf_link})
set(CMAKE_SHARED_LINKER_FLAGS_INIT ${_armhf_link})
# GCC's notes that the passing of some parameters changed in GCC 7.1 concern code that mixes
# objects of older compilers; everything here is built by one compiler.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi -idirafter ${EMAILSERVICE_ARMHF_SYSROOT}/usr/include")

# The armhf programs built here (tests, the simulator) run on the build machine under qemu-arm.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${EMAILSERVICE_ARMHF_SYSROOT})
