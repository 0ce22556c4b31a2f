# The message classes that protoc generates run only against the libprotobuf of the same release:
# the protoc of the build machine must match the protobuf headers found for the target (on the
# card, those of its sysroot). Checked once at configure time, so that a mismatch is one clear
# message rather than a wall of compile errors in generated code.

# The "major.minor.patch" of `number` written as GOOGLE_PROTOBUF_VERSION writes it (3021012).
function(emailservice_protobuf_release number out)
  math(EXPR major "${number} / 1000000")
  math(EXPR minor "${number} / 1000 % 1000")
  math(EXPR patch "${number} % 1000")
  set(${out} "${major}.${minor}.${patch}" PARENT_SCOPE)
endfunction()

function(emailservice_check_protoc_matches_headers)
  set(header_version "")
  foreach(dir IN LISTS Protobuf_INCLUDE_DIRS)
    if(EXISTS ${dir}/google/protobuf/stubs/common.h)
      file(STRINGS ${dir}/google/protobuf/stubs/common.h line REGEX "#define[ \t]+GOOGLE_PROTOBUF_VERSION[ \t]+[0-9]+")
      if(line MATCHES "([0-9]+)$")
        emailservice_protobuf_release(${CMAKE_MATCH_1} header_version)
        set(header_dir ${dir})
        break()
      endif()
    endif()
  endforeach()
  get_target_property(protoc protobuf::protoc IMPORTED_LOCATION)
  execute_process(COMMAND ${protoc} --version OUTPUT_VARIABLE protoc_output OUTPUT_STRIP_TRAILING_WHITESPACE
    RESULT_VARIABLE protoc_failed)
  string(REGEX MATCH "[0-9]+(\\.[0-9]+)+" protoc_version "${protoc_output}")
  if(header_version STREQUAL "" OR protoc_failed OR protoc_version STREQUAL "")
    message(FATAL_ERROR "Cannot compare protobuf versions: protoc ${protoc} says '${protoc_output}', "
      "and no GOOGLE_PROTOBUF_VERSION was found in google/protobuf/stubs/common.h under '${Protobuf_INCLUDE_DIRS}'")
  endif()
  # Since protobuf 22 protoc leaves out the major version of the library ("libprotoc 25.1" for 4.25.1).
  string(REGEX REPLACE "^[0-9]+\\." "" header_minor_patch "${header_version}")
  if(NOT protoc_version STREQUAL header_version AND NOT protoc_version STREQUAL header_minor_patch)
    message(FATAL_ERROR "protoc ${protoc} is protobuf ${protoc_version}, but the protobuf headers in ${header_dir} "
      "are protobuf ${header_version}: the classes it generates would not build or run against that libprotobuf. "
      "Use the protoc of the same release as the card's libprotobuf (-DProtobuf_PROTOC_EXECUTABLE=/path/to/protoc), "
      "or a sysroot whose protobuf matches this protoc.")
  endif()
  message(STATUS "protoc and the protobuf headers in ${header_dir}: protobuf ${header_version}")
endfunction()
