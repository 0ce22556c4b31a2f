#include "BuildProfile.h"

#include "BuildSettings.h"
#include "CardPaths.h"

namespace tools {

namespace {

char const* yesNo(bool on) { return on ? "yes" : "no"; }

}  // namespace

std::string BuildProfile::versionText(std::string const& program) {
  std::string const prefix = emailservice::paths::kPathPrefix;
  return program + " (libemailService) " EMAILSERVICE_VERSION "\n" +
         "hardened: " + yesNo(emailservice::settings::kHardened) + "\n" +
         "outbox: " + yesNo(emailservice::settings::kOutbox) + "\n" +
         "path prefix: " + (prefix.empty() ? "(none)" : prefix) + "\n";
}

}  // namespace tools
