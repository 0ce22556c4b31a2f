// What a tool says for --version: its name, the library's version and the profile it was built
// with, so that a report names the build it comes from.
#pragma once

#include <string>

namespace tools {

class BuildProfile final {
 public:
  // "PROGRAM (libemailService) VERSION" and one line for each setting of the profile: the hardened
  // submission, the outbox and the prefix of the card's paths.
  static std::string versionText(std::string const& program);
};

}  // namespace tools
