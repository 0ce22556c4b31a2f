#include "kinds/EmailException.h"

#include "logfiles/EventLogFile.h"

namespace emailservice {

// The same exception event gives the same subject whether it became active or was cleared.
void EmailException::formatSubject() {
  EmailGlobalConfig::formatSubject();
  subject += " - Exception event - ";
  subject += event.getEventLevel();
  subject += " - ";
  subject += event.description;
}

void EmailException::formatMessage() {
  EmailGlobalConfig::formatMessage();
  message << "== EXCEPTION EVENT ==========================================\n"
          << "Date (UTC) - Severity - Code - Description\n"
          << event.date << " - " << event.getEventLevel() << " - " << event.formatEventCode() << " - "
          << event.description << "\n"
          << "=============================================================\n";
}

// The log of the event's origin is attached whatever the configuration selects. The system logs
// name their files with a leading blank of their own, so that list begins with two blanks.
void EmailException::attachLogFiles() {
  if (eventLogFile.generateFiles(kRecentLogEntries) == 0) {
    attachments += " " + eventLogFile.getLogFileName();
  }
}

}  // namespace emailservice
