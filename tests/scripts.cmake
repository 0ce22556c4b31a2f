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
