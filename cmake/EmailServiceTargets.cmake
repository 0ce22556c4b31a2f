# Helpers that give every target of the project the same warnings and sanitizer settings.

function(emailservice_set_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wnull-dereference
    -Wdouble-promotion -Wformat=2 -Wimplicit-fallthrough -Wmissing-declarations)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wuseless-cast -Wduplicated-cond -Wlogical-op)
  endif()
endfunction()

if(EMAILSERVICE_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "EMAILSERVICE_BUILD_FUZZERS needs clang's libFuzzer: configure with -DCMAKE_CXX_COMPILER=clang++")
  endif()
  # Coverage feedback for libFuzzer in every target; the fuzz programs add the fuzzer's main.
  add_compile_options(-fsanitize=fuzzer-no-link)
  set(EMAILSERVICE_SANITIZE ON)
endif()

if(EMAILSERVICE_SANITIZE)
  # Applied to the whole tree so that the library, the host platform and the tests agree.
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
endif()

# Links a shared library of the package to its platform, privately: on a host the simulated card,
# on the card the SDK's platform libraries (EMAILSERVICE_CARD_LIBRARIES). Where the platform is
# known every symbol is resolved at link time; without named card libraries the process that
# loads the library provides them, and with clang's sanitizers their runtime comes with the
# executable.
function(emailservice_link_platform target)
  if(EMAILSERVICE_PLATFORM STREQUAL "host")
    target_link_libraries(${target} PRIVATE simcard)
  else()
    target_link_libraries(${target} PRIVATE ${EMAILSERVICE_CARD_LIBRARIES})
  endif()
  target_link_libraries(${target} PRIVATE protobuf::libprotobuf)
  if((EMAILSERVICE_PLATFORM STREQUAL "host" OR EMAILSERVICE_CARD_LIBRARIES)
     AND NOT (EMAILSERVICE_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()

# A library that goes onto the card, built for the card platform: every function and object in a
# section of its own, and the sections that nothing reaches from the exported entries dropped at
# link time, so that the card's flash holds only code that can run. The shared library itself
# needs only the libraries it uses (--as-needed, whatever the SDK's compiler does by default), and
# exports only the project's namespace (cmake/card-exports.map): the standard library's template
# instantiations that the compiler emits as weak symbols stay inside it. Host builds keep whole
# sections and their exports, as debuggers and the sanitizers expect.
function(emailservice_card_sections target)
  if(NOT EMAILSERVICE_PLATFORM STREQUAL "card")
    return()
  endif()
  target_compile_options(${target} PRIVATE -ffunction-sections -fdata-sections)
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL "OBJECT_LIBRARY")
    set(exports ${PROJECT_SOURCE_DIR}/cmake/card-exports.map)
    target_link_options(${target} PRIVATE -Wl,--gc-sections -Wl,--as-needed -Wl,--version-script=${exports})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${exports})
  endif()
endfunction()
