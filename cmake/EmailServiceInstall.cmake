# Installation, in three components (docs/card-build.md says how a new library or tool joins them):
# - Runtime: the shared libraries and their SONAME links, what goes onto the card;
# - Development: the public headers, the libraries' links for the linker, the CMake package and
#   the pkg-config files;
# - Simulator (host platform only): the simulated card (library, headers, its package component
#   `simcard` and pkg-config file), the card's command stand-ins, the simulator, the example card.
# The library links its platform privately: its package and pkg-config file name nothing of it.
include(CMakePackageConfigHelpers)

set(EMAILSERVICE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/emailService)
# The pkg-config files find the prefix from their own place, so the installed tree can be moved.
file(RELATIVE_PATH EMAILSERVICE_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)

# Installs cmake/<name>.pc.in, filled in, as <name>.pc with `component`.
function(emailservice_install_pkgconfig name component)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT ${component})
endfunction()

# A shared library of the package: the library to Runtime; its link for the linker and its target
# emailService::<target> to Development.
function(emailservice_install_library target)
  install(TARGETS ${target} EXPORT emailServiceTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()

# A program for development hosts, and its manual page: made by help2man from the program's own
# --help (run through the cross build's emulator), so that the texts have one home, with the
# sections that --help does not hold (EXIT STATUS, FILES, EXAMPLES, SEE ALSO) from
# <target>.h2m beside the program's sources, filled in with the card's paths of the build. The
# version is the project's: the build profile that --version adds belongs to the binary, not to
# the page. TMPDIR is unset so that the default Maildir reads as documented, not as the build
# machine's. `summary` is the page's one-line description.
function(emailservice_install_tool target summary)
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Simulator)
  find_program(EMAILSERVICE_HELP2MAN help2man REQUIRED)
  set(page ${CMAKE_CURRENT_BINARY_DIR}/${target}.1)
  set(sections ${CMAKE_CURRENT_BINARY_DIR}/${target}.h2m)
  configure_file(${CMAKE_CURRENT_SOURCE_DIR}/${target}.h2m ${sections} @ONLY)
  string(JOIN " " run ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${target}>)
  add_custom_command(OUTPUT ${page}
    COMMAND ${CMAKE_COMMAND} -E env --unset=TMPDIR
      ${EMAILSERVICE_HELP2MAN} --no-info --name=${summary} "--source=libemailService ${PROJECT_VERSION}"
      --version-string=${PROJECT_VERSION} --include=${sections} --output=${page} ${run}
    DEPENDS ${target} ${sections}
    COMMENT "Manual page of ${target}"
    VERBATIM)
  add_custom_target(${target}-manual ALL DEPENDS ${page})
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Simulator)
endfunction()

# The CMake package, once every library of the package has joined its export set; its component
# `simcard` on a host.
function(emailservice_install_package)
  install(EXPORT emailServiceTargets NAMESPACE emailService:: DESTINATION ${EMAILSERVICE_CMAKE_DIR}
    COMPONENT Development)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/emailServiceConfig.cmake.in
    ${PROJECT_BINARY_DIR}/emailServiceConfig.cmake INSTALL_DESTINATION ${EMAILSERVICE_CMAKE_DIR})
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/emailServiceConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/emailServiceConfig.cmake ${PROJECT_BINARY_DIR}/emailServiceConfigVersion.cmake
    DESTINATION ${EMAILSERVICE_CMAKE_DIR} COMPONENT Development)
  if(TARGET simcard)
    install(EXPORT emailServiceSimcardTargets NAMESPACE emailService:: DESTINATION ${EMAILSERVICE_CMAKE_DIR}
      COMPONENT Simulator)
    install(FILES ${PROJECT_SOURCE_DIR}/cmake/emailService-simcard.cmake DESTINATION ${EMAILSERVICE_CMAKE_DIR}
      COMPONENT Simulator)
  endif()
endfunction()
