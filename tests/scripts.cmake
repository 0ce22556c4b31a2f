# Tests that are not GoogleTest programs.

# The scripts start the programs built here through the emulator list, given as one text.
string(JOIN " " emulator_text ${EMAILSERVICE_TEST_EMULATOR})

# End to end: the card simulator with the example card, delivering through a real SMTP server
# (Debian's python3-aiosmtpd, hence the system Python).
# The outbox's test runs where the library has the outbox; its held alarms, separated by commas.
string(REPLACE ";" "," hold_alarms_text "${EMAILSERVICE_HOLD_ALARMS}")
set(outbox_simulator)
if(EMAILSERVICE_PROFILE_OUTBOX)
  set(outbox_simulator $<TARGET_FILE:emailservice-simulator>)
endif()
foreach(suite DeliveryTest RefusedDeliveryTest FaultTest OutboxTest)
  add_test(NAME endtoend.${suite}
    COMMAND ${EMAILSERVICE_TEST_LAUNCHER} /usr/bin/python3 ${CMAKE_CURRENT_SOURCE_DIR}/endtoend/simulator_smtp_test.py ${suite})
  set_tests_properties(endtoend.${suite} PROPERTIES
    ${EMAILSERVICE_TEST_LOCK}
    TIMEOUT 600
    ENVIRONMENT "SIMULATOR=$<TARGET_FILE:emailservice-simulator>;SIMULATOR_OUTBOX=${outbox_simulator};OUTBOX_DIRECTORY=${settings_OUTBOX_DIRECTORY};HOLD_SECONDS=${EMAILSERVICE_HOLD_SECONDS};HOLD_ALARMS=${hold_alarms_text};EMULATOR=${emulator_text};CARD=${PROJECT_SOURCE_DIR}/examples/card.txtpb;PATH_PREFIX=${EMAILSERVICE_PATH_PREFIX}")
endforeach()

# The command lines of emailservice-check and of the simulator, and the findings of the example
# card and of a card full of mistakes. --version names the build's profile, given to the test with
# its line feeds written \n.
set(profile_hardened no)
if(EMAILSERVICE_PROFILE_HARDENED)
  set(profile_hardened yes)
endif()
set(profile_outbox no)
if(EMAILSERVICE_PROFILE_OUTBOX)
  set(profile_outbox yes)
endif()
set(profile_prefix "(none)")
if(NOT EMAILSERVICE_PATH_PREFIX STREQUAL "")
  set(profile_prefix "${EMAILSERVICE_PATH_PREFIX}")
endif()
set(profile_text "hardened: ${profile_hardened}\\noutbox: ${profile_outbox}\\npath prefix: ${profile_prefix}\\n")
add_test(NAME check.CommandLines
  COMMAND ${EMAILSERVICE_TEST_LAUNCHER} /usr/bin/python3 ${CMAKE_CURRENT_SOURCE_DIR}/check/command_lines_test.py)
set_tests_properties(check.CommandLines PROPERTIES
  ${EMAILSERVICE_TEST_LOCK}
  TIMEOUT 600
  ENVIRONMENT "CHECK=$<TARGET_FILE:emailservice-check>;SIMULATOR=$<TARGET_FILE:emailservice-simulator>;EMULATOR=${emulator_text};VERSION=${PROJECT_VERSION};PROFILE=${profile_text}")

# The installed package: library, headers, CMake package and pkg-config files, used by a consumer,
# and the library built in card mode against the simulated card laid out as a card SDK. A cross
# build's consumers use its toolchain. Skipped in sanitizer builds, where a plain consumer cannot
# link the instrumented library.
if(NOT EMAILSERVICE_SANITIZE)
  set(nested_args)
  if(CMAKE_TOOLCHAIN_FILE)
    set(nested_args "-DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE} -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}")
    foreach(variable CMAKE_SYSROOT EMAILSERVICE_ARMHF_SYSROOT)
      if(${variable})
        string(APPEND nested_args " -D${variable}=${${variable}}")
      endif()
    endforeach()
  endif()
  add_test(NAME install.PackageIsUsable
    COMMAND sh ${CMAKE_CURRENT_SOURCE_DIR}/install/check_install.sh ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}
            ${PROJECT_BINARY_DIR}/install-check)
  set_tests_properties(install.PackageIsUsable PROPERTIES
    TIMEOUT 900
    ENVIRONMENT "EMULATOR=${emulator_text};CMAKE_ARGS=${nested_args};CXX=${CMAKE_CXX_COMPILER};CXXFLAGS=${CMAKE_CXX_FLAGS};LDFLAGS=${CMAKE_EXE_LINKER_FLAGS}")
endif()
