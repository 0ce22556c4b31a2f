#include "kinds/EmailTestConfig.h"

#include "logfiles/EventLogFile.h"

namespace emailservice {

void EmailTestConfig::formatSubject() {
  EmailGlobalConfig::formatSubject();
  subject += " - Test email";
}

// Fixed severity, code and description: nothing of the event record goes into a test e-mail.
void EmailTestConfig::formatMessage() {
  EmailGlobalConfig::formatMessage();
  message << "= TEST EMAIL ================================================\n"
          << "Date (UTC) - Severity - Code - Description\n"
          << formatNow() << " - Info - 00C00F00 - Test email\n"
          << "============================================================\n";
}

// The system logs' list already begins with its own blank, so it is appended as it comes.
void EmailTestConfig::attachLogFiles() {
  if (eventLogFile.generateFiles(kRecentLogEntries) == 0) {
    attachments += eventLogFile.getLogFileName();
  }
}

}  // namespace emailservice
