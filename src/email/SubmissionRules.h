// The rules of the mail command that differ between the contract's submission and the hardened
// profile. One header, two sources, and the build compiles one of them (src/CMakeLists.txt):
// PlainSubmissionRules.cpp in the default build, HardenedSubmissionRules.cpp in the hardened one.
#pragma once

#include <string>

#include "email/ComposedEmail.h"

namespace emailservice {

class SubmissionRules final {
 public:
  SubmissionRules() = delete;

  // What sendemail prints when the message did not go out.
  static constexpr char const kSendFailure[] = "Could not send the message";

  // The shell command that hands `email` to sendemail as the user "email".
  static std::string commandText(ComposedEmail const& email);
  // Whether a command that ended with `exitStatus` (128 + N: ended by signal N) and printed
  // `printed` handed the message over.
  static bool handedOver(int exitStatus, std::string const& printed);
  // Whether a configuration with this id is processed at all: the id is part of the body work
  // file's path.
  static bool acceptsConfigurationId(std::string const& id);
};

}  // namespace emailservice
