# check_tests: the configuration check's own library, and the message of the agreement cases.
set(EMAILSERVICE_PROTO_OUT ${CMAKE_CURRENT_BINARY_DIR}/check-cases)
emailservice_add_proto(${target} ${CMAKE_CURRENT_LIST_DIR}/agreement_case.proto
  ${CMAKE_CURRENT_LIST_DIR} ${PROJECT_SOURCE_DIR}/platform/host ${PROJECT_SOURCE_DIR}/platform/proto)
set_source_files_properties(${EMAILSERVICE_PROTO_OUT}/agreement_case.pb.cc PROPERTIES COMPILE_OPTIONS "-w")
target_include_directories(${target} SYSTEM PRIVATE ${EMAILSERVICE_PROTO_OUT})
target_link_libraries(${target} PRIVATE emailServiceCheck)
