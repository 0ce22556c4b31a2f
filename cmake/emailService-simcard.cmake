# The simulated card, component `simcard` of the emailService package: emailService::simcard, the
# host implementation of the card's platform, whose headers use protobuf's.
include(CMakeFindDependencyMacro)
find_dependency(Protobuf)
include("${CMAKE_CURRENT_LIST_DIR}/emailServiceSimcardTargets.cmake")
