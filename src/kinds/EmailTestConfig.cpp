#include "kinds/EmailTestConfig.h"

#include <ctime>

#include "logfiles/EventLogFile.h"

namespace emailservice {

namespace {

constexpr unsigned int kRecentLogEntries = 25;

// The clock's seconds as the `long` that formatTime takes. A template, so that the cast is not a
// useless one where time_t already is long, and stays explicit where time_t is wider.
template <typename Time>
long toSeconds(Time seconds) {
  return static_cast<long>(seconds);
}

}  // namespace

void EmailTestConfig::formatSubject() {
  EmailGlobalConfig::formatSubject();
  subject += " - Test email";
}

// Fixed severity, code and description: nothing of the event record goes into a test e-mail.
void EmailTestConfig::formatMessage() {
  EmailGlobalConfig::formatMessage();
  message << "= TEST EMAIL ================================================\n"
          << "Date (UTC) - Severity - Code - Description\n"
          << formatTime(toSeconds(std::time(nullptr))) << " - Info - 00C00F00 - Test email\n"
          << "============================================================\n";
}

// The system logs' list already begins with its own blank, so it is appended as it comes.
void EmailTestConfig::attachLogFiles() {
  if (eventLogFile.generateFiles(kRecentLogEntries) == 0) {
    attachments += eventLogFile.getLogFileName();
  }
}

}  // namespace emailservice
