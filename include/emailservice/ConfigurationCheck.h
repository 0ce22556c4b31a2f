// The configuration check (libemailServiceCheck): what a list of e-mail configurations will make
// the e-mail service do wrong, found before the list is saved. A configuration interface calls it
// with the list it is about to store and refuses, or asks again, when it reports errors.
//
// The check reads the list as the service does: the entry at position 0 is the template of new
// configurations (only its enabled switch is looked at, since it is never processed), the code
// lists are split and parsed as the service's filters split and parse them, and every sentence
// says what the service will do with the value. Disabled configurations are checked too: their
// values matter as soon as they are enabled.
#pragma once

#include <string>
#include <vector>

#include "emailservice/Export.h"

namespace dravo::proto {
class EmailConfigurationList;
}

namespace emailservice::check {

enum class Severity {
  Error,    // the service will misbehave: a sending fails, a command runs, a code is never compared
  Warning,  // the service does what it is told, probably not what was meant
  Note,     // worth knowing, harmless to the service
};

// What a finding is about.
enum class Scope {
  Configuration,  // one configuration of the list
  List,           // the list as a whole
  Device,         // a device name of the card
};

struct Finding {
  Severity severity;
  Scope scope;
  int position;    // Configuration: the position in the list (0 is the template); Device: the
                   // device number (1 or 20); List: -1
  std::string id;  // the configuration's id and name (Configuration only)
  std::string name;
  std::string field;    // attribute path as the configuration messages name it: "exceptionEvents",
                        // "upsEventTable.warning", "periodicConfiguration.periodStart",
                        // "friendlyName", ...
  std::string part;     // which piece of the field: "entry 3", "word 2"; empty for the whole field
  std::string value;    // the value found there, as configured
  std::string message;  // one sentence: what the service will do with it
};

// The names of the card's devices as the data store gives them (device 1 is the card, device 20
// the monitored device). The service names itself by the friendly name of device 1, else by the
// physical name of device 20, in the subject of every e-mail.
struct DeviceNames {
  std::string cardFriendlyName;
  std::string cardPhysicalName;
  std::string deviceFriendlyName;
  std::string devicePhysicalName;
};

// The findings of `list`, configuration by configuration in list order, then the list-wide ones.
// Periodic start times are compared with the current time.
EMAILSERVICE_EXPORT std::vector<Finding> checkConfigurations(dravo::proto::EmailConfigurationList const& list);
// The same, and the device names that reach the mail command.
EMAILSERVICE_EXPORT std::vector<Finding> checkConfigurations(dravo::proto::EmailConfigurationList const& list,
                                                             DeviceNames const& names);

// "error", "warning" or "note".
EMAILSERVICE_EXPORT char const* severityName(Severity severity);

// One line that says where, what and why:
//   configuration 2 "Facilities": exceptionEvents entry 3 "zz": error: not a hexadecimal code; ...
//   device 1: friendlyName "Rack $(reboot)": error: ...
//   configuration list: hideIpAddress "true": warning: ...
// The value is quoted with its double quotes, backslashes and control characters escaped
// (\", \\, \n, \t, \xNN), so that a finding never spans two lines.
EMAILSERVICE_EXPORT std::string describe(Finding const& finding);

}  // namespace emailservice::check
