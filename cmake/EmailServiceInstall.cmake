# Installation: the library, its public headers, a CMake package and a pkg-config file; on a
# host also the simulated card that implements the platform, and the card's command stand-ins.
include(CMakePackageConfigHelpers)

set(EMAILSERVICE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/emailService)

install(TARGETS emailService simcard emailServicePlatform
  EXPORT emailServiceTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/emailservice DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/ ${PROJECT_SOURCE_DIR}/platform/host/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/emailservice/platform)
install(FILES ${PROJECT_BINARY_DIR}/generated/dravo_config.pb.h ${PROJECT_BINARY_DIR}/generated/card_state.pb.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/emailservice/platform)
install(DIRECTORY ${SIMCARD_BIN_DIR}/ DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/emailService/simcard-bin
  USE_SOURCE_PERMISSIONS)

install(EXPORT emailServiceTargets NAMESPACE emailService:: DESTINATION ${EMAILSERVICE_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/emailServiceConfig.cmake.in
  ${PROJECT_BINARY_DIR}/emailServiceConfig.cmake INSTALL_DESTINATION ${EMAILSERVICE_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/emailServiceConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/emailServiceConfig.cmake ${PROJECT_BINARY_DIR}/emailServiceConfigVersion.cmake
  DESTINATION ${EMAILSERVICE_CMAKE_DIR})

# The pkg-config file finds the prefix from its own place, so the installed tree can be moved.
file(RELATIVE_PATH EMAILSERVICE_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${PROJECT_SOURCE_DIR}/cmake/emailService.pc.in ${PROJECT_BINARY_DIR}/emailService.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/emailService.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# ---- The configuration check ------------------------------------------------------------------
# libemailServiceCheck and emailservice-check, in the component layout: the library in Runtime;
# its header, CMake target (emailService::emailServiceCheck, same export set) and pkg-config file
# in Development; the card-file checker, a host tool like the simulator, in Simulator.
install(TARGETS emailServiceCheck EXPORT emailServiceTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/emailservice/ConfigurationCheck.h
  ${PROJECT_SOURCE_DIR}/include/emailservice/Export.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/emailservice COMPONENT Development)
configure_file(${PROJECT_SOURCE_DIR}/cmake/emailServiceCheck.pc.in ${PROJECT_BINARY_DIR}/emailServiceCheck.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/emailServiceCheck.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT Development)
install(TARGETS emailservice-check RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Simulator)
# ---- end of the configuration check -----------------------------------------------------------
