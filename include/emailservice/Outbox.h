// The outbox of a library built with it (EMAILSERVICE_OUTBOX, or the hardened profile): e-mails
// whose sending failed are kept under the work directory and sent again. manageEmails sends them
// again before its event; this entry does the same without an event, for a timer of the card's
// service. Installed, and exported by the library, only in those builds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "emailservice/ErrorCode.h"
#include "emailservice/Export.h"

namespace emailservice {

class EMAILSERVICE_EXPORT Outbox {
 public:
  // One kept e-mail, as an administrator would want to see it.
  struct Entry {
    std::string configurationId;
    std::string configurationName;
    std::string subject;
    std::string recipients;
    std::int64_t firstAttempt;  // seconds since 1970 UTC (when it was kept, for one never tried)
    std::int32_t attempts;      // 0: never tried yet (held, or kept behind an earlier one)
    std::string lastReason;
    bool held;  // the e-mail of a UPS alarm, held until `nextAttempt`
    // When it may be sent (again), as the wall clock reads now: a held e-mail's due time, a failed
    // one's next attempt by Outbox::retry() (an event tries it at once).
    std::int64_t nextAttempt;
  };

  Outbox() = delete;

  // Sends the kept e-mails again, oldest first, as manageEmails does before its event, and gives
  // up those kept too long or tried too often. Waits for, and holds, the outbox's lock (not the
  // lock of manageEmails: it uses no work file).
  // Success when nothing stays kept, SendError otherwise, and when an exception (of the card's log)
  // ended the retry: it never raises one.
  static ErrorCode retry();

  // The kept e-mails, oldest first. Reads only; takes no lock.
  static std::vector<Entry> list();
};

}  // namespace emailservice
