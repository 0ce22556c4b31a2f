#include "kinds/EmailSystemNotif.h"

namespace emailservice {

// A card event has no state worth naming: its subject and section leave the State column out.
// Both start from the common base on purpose, skipping the alarm's subject and alarm list.
void EmailSystemNotif::formatSubject() {
  EmailGlobalConfig::formatSubject();  // NOLINT(bugprone-parent-virtual-call)
  subject += " - System event - ";
  subject += event.getEventLevel();
  subject += " - ";
  subject += event.description;
}

void EmailSystemNotif::formatMessage() {
  EmailGlobalConfig::formatMessage();  // NOLINT(bugprone-parent-virtual-call)
  message << "= SYSTEM EVENT LIST ========================================\n"
          << "Date (UTC) - Severity - Code - Description\n"
          << event.date << " - " << event.getEventLevel() << " - " << event.formatEventCode() << " - "
          << event.description << "\n"
          << "============================================================\n";
}

}  // namespace emailservice
