# The mail command tests once more, against the library built with the hardened mail command
# (the hardening_tests program of tests/hardening/ runs them against the default one).
if(TARGET emailServiceObjectsHardened)
  add_executable(hardened_submission_tests
    ${CMAKE_CURRENT_SOURCE_DIR}/hardening/MailCommand_test.cpp
    ${support_sources})
  target_include_directories(hardened_submission_tests PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(hardened_submission_tests PRIVATE
    emailServiceObjectsHardened simcard GTest::gtest GTest::gmock GTest::gmock_main)
  target_compile_definitions(hardened_submission_tests PRIVATE
    SIMCARD_BIN_DIR="${SIMCARD_BIN_DIR}"
    EMAILSERVICE_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  set_target_properties(hardened_submission_tests PROPERTIES CROSSCOMPILING_EMULATOR "${EMAILSERVICE_TEST_RUNNER}")
  emailservice_set_warnings(hardened_submission_tests)
  gtest_discover_tests(hardened_submission_tests
    TEST_PREFIX "hardened."
    DISCOVERY_TIMEOUT 60
    DISCOVERY_MODE PRE_TEST
    PROPERTIES ${EMAILSERVICE_TEST_LOCK} ENVIRONMENT "PATH=${SIMCARD_BIN_DIR}:$ENV{PATH}")
endif()
