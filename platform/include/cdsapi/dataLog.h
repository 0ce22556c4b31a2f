// Data store client: the card's event log.
#pragma once

#include <string>

namespace cdsapi {

// Log categories of the card's event log. The e-mail service writes under 12.
enum enLogCategory : int {
  enLogCategorySystem = 1,
  enLogCategoryEmail = 12,
};

// Severities, numbered as in the syslog standard.
enum syslog_severity : int {
  SEVERITY_EMERGENCY = 0,
  SEVERITY_ALERT = 1,
  SEVERITY_CRITICAL = 2,
  SEVERITY_ERROR = 3,
  SEVERITY_WARNING = 4,
  SEVERITY_NOTICE = 5,
  SEVERITY_INFORMATIONAL = 6,
  SEVERITY_DEBUG = 7,
};

class dataLog {
 public:
  // Appends one entry to the card's log. `eventId` identifies the kind of entry (the e-mail
  // service passes 8 for a failure and 12 for a success); `deviceId` and `channelId` name what
  // the entry is about (0: nothing in particular); `source` is an optional origin text. The
  // numbers are stored unchanged. A failure of the store raises an exception derived from
  // std::exception.
  static void logMessage(enLogCategory category, int eventId, int deviceId, syslog_severity const& severity,
                         std::string const& source, int channelId, std::string const& message);
};

}  // namespace cdsapi
