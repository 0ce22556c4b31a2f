# Tests that are not GoogleTest programs.

# End to end: the card simulator with the example card, delivering through a real SMTP server
# (Debian's python3-aiosmtpd, hence the system Python).
foreach(suite DeliveryTest RefusedDeliveryTest)
  add_test(NAME endtoend.${suite}
    COMMAND /usr/bin/python3 ${CMAKE_CURRENT_SOURCE_DIR}/endtoend/simulator_smtp_test.py ${suite})
  set_tests_properties(endtoend.${suite} PROPERTIES
    RESOURCE_LOCK card_paths
    TIMEOUT 600
    ENVIRONMENT "SIMULATOR=$<TARGET_FILE:emailservice-simulator>;CARD=${PROJECT_SOURCE_DIR}/examples/card.txtpb;PATH_PREFIX=${EMAILSERVICE_PATH_PREFIX}")
endforeach()

# The command lines of emailservice-check and of the simulator, and the findings of the example
# card and of a card full of mistakes.
add_test(NAME check.CommandLines COMMAND /usr/bin/python3 ${CMAKE_CURRENT_SOURCE_DIR}/check/command_lines_test.py)
set_tests_properties(check.CommandLines PROPERTIES
  RESOURCE_LOCK card_paths
  TIMEOUT 600
  ENVIRONMENT "CHECK=$<TARGET_FILE:emailservice-check>;SIMULATOR=$<TARGET_FILE:emailservice-simulator>;VERSION=${PROJECT_VERSION}")

# The installed package: library, headers, CMake package and pkg-config file, used by a consumer.
# Skipped in sanitizer builds, where a plain consumer cannot link the instrumented library.
if(NOT EMAILSERVICE_SANITIZE)
  add_test(NAME install.PackageIsUsable
    COMMAND sh ${CMAKE_CURRENT_SOURCE_DIR}/install/check_install.sh ${PROJECT_BINARY_DIR}
            ${PROJECT_BINARY_DIR}/install-check)
  set_tests_properties(install.PackageIsUsable PROPERTIES TIMEOUT 300)
endif()
