#include "BuildProfile.h"

#include "CardPaths.h"

namespace tools {

namespace {

#ifdef EMAILSERVICE_HARDENED_SUBMISSION
constexpr bool kHardened = true;
#else
constexpr bool kHardened = false;
#endif

#ifdef EMAILSERVICE_OUTBOX
constexpr bool kOutbox = true;
#else
constexpr bool kOutbox = false;
#endif

char const* yesNo(bool on) { return on ? "yes" : "no"; }

}  // namespace

std::string BuildProfile::versionText(std::string const& program) {
  std::string const prefix = emailservice::paths::kPathPrefix;
  return program + " (libemailService) " EMAILSERVICE_VERSION "\n" + "hardened: " + yesNo(kHardened) + "\n" +
         "outbox: " + yesNo(kOutbox) + "\n" + "path prefix: " + (prefix.empty() ? "(none)" : prefix) + "\n";
}

}  // namespace tools
