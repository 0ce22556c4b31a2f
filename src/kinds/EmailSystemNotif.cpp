#include "kinds/EmailSystemNotif.h"

namespace emailservice {

// A card event has no state worth naming: its subject and section leave the State column out.
void EmailSystemNotif::formatSubject() {
  EmailGlobalConfig::formatSubject();
  subject += " - System event - ";
  subject += event.getEventLevel();
  subject += " - ";
  subject += event.description;
}

void EmailSystemNotif::formatMessage() {
  EmailGlobalConfig::formatMessage();
  message << "= SYSTEM EVENT LIST ========================================\n"
          << "Date (UTC) - Severity - Code - Description\n"
          << event.date << " - " << event.getEventLevel() << " - " << event.formatEventCode() << " - "
          << event.description << "\n"
          << "============================================================\n";
}

}  // namespace emailservice
