# What a card build (EMAILSERVICE_PLATFORM=card) checks at configure time, so that a mistake in
# the SDK's setup stops here with a message instead of producing a library that cannot ship:
# - the compiler builds for the card's 32-bit ARM (not for this machine, as the host compiler
#   does when the SDK's environment script was not sourced);
# - the platform libraries are a CMake list (a blank-separated value would name one library);
# - the C library has a 64-bit time_t, or EMAILSERVICE_ACCEPT_32BIT_TIME says that times after
#   2038-01-19 may wrap.
# docs/card-build.md tells the recipe these checks belong to.
include(CheckCXXSourceCompiles)

option(EMAILSERVICE_ACCEPT_32BIT_TIME
  "card platform: build over a C library whose time_t is 32 bits wide (glibc before 2.34 on 32-bit ARM), accepting what each time becomes after 2038-01-19 03:14:07 UTC (docs/card-build.md)" OFF)
option(EMAILSERVICE_CARD_HOST_TEST
  "card platform built for this machine's processor, for tests of the package on a development host only: never for the card (scripts/check-card-library.sh refuses it)" OFF)

# The compiler's own name for what it builds for ("x86_64-linux-gnu"), for the messages.
function(emailservice_compiler_target out)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} ${CMAKE_CXX_COMPILER_ARG1} -dumpmachine
    OUTPUT_VARIABLE machine OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(machine STREQUAL "")
    set(machine "an unknown target")
  endif()
  set(${out} ${machine} PARENT_SCOPE)
endfunction()

function(emailservice_check_card_compiler)
  check_cxx_source_compiles("
#if !defined(__arm__) || defined(__aarch64__) || __SIZEOF_POINTER__ != 4
#error not 32-bit ARM
#endif
int main() { return 0; }" EMAILSERVICE_COMPILER_IS_ARM32)
  if(EMAILSERVICE_COMPILER_IS_ARM32 OR EMAILSERVICE_CARD_HOST_TEST)
    return()
  endif()
  emailservice_compiler_target(machine)
  message(FATAL_ERROR "EMAILSERVICE_PLATFORM=card needs a compiler for the card's 32-bit ARM, but "
    "${CMAKE_CXX_COMPILER} builds for ${machine}. Source the card SDK's environment script in this shell "
    "(it sets CC and CXX to the SDK's cross compiler) and configure a fresh build directory "
    "(docs/card-build.md, \"With the card maker's SDK\").")
endfunction()

function(emailservice_check_card_libraries)
  foreach(library IN LISTS EMAILSERVICE_CARD_LIBRARIES)
    if(library MATCHES "[ \t]" AND NOT EXISTS "${library}")
      string(REGEX REPLACE "[ \t]+" ";" suggested "${library}")
      message(FATAL_ERROR "EMAILSERVICE_CARD_LIBRARIES is a CMake list: '${library}' would be linked as one "
        "library of that name. Separate the libraries with semicolons: "
        "-DEMAILSERVICE_CARD_LIBRARIES=\"${suggested}\"")
    endif()
  endforeach()
endfunction()

function(emailservice_check_card_time)
  set(CMAKE_REQUIRED_DEFINITIONS -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64)
  check_cxx_source_compiles("
#include <ctime>
static_assert(sizeof(std::time_t) >= 8, \"32-bit time_t\");
int main() { return 0; }" EMAILSERVICE_TIME_T_IS_64_BITS)
  if(EMAILSERVICE_TIME_T_IS_64_BITS)
    return()
  endif()
  if(EMAILSERVICE_ACCEPT_32BIT_TIME)
    message(WARNING "time_t is 32 bits wide with this C library (EMAILSERVICE_ACCEPT_32BIT_TIME is ON): "
      "times after 2038-01-19 03:14:07 UTC wrap or are dropped as docs/card-build.md, \"Year 2038 on the card\", says.")
    return()
  endif()
  message(FATAL_ERROR "The card SDK's C library has a 32-bit time_t (_TIME_BITS=64 needs glibc 2.34 or later on 32-bit "
    "ARM): every time the library handles after 2038-01-19 03:14:07 UTC would wrap to 1901 or be dropped "
    "(docs/card-build.md, \"Year 2038 on the card\"). Build with an SDK whose C library is glibc 2.34 or later, "
    "or accept these times knowingly with -DEMAILSERVICE_ACCEPT_32BIT_TIME=ON.")
endfunction()

# A card build is MinSizeRel unless told otherwise: its -Os comes after the SDK's CXXFLAGS (-O2 in
# most SDKs), so that the library fits its budgets on the card's flash.
if(EMAILSERVICE_PLATFORM STREQUAL "card" AND NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE MinSizeRel CACHE STRING "The build type (MinSizeRel for the card)" FORCE)
endif()
