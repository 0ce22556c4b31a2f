// Which UPS alarms have their e-mails held: those of a level or an event code that the build
// names (EMAILSERVICE_HOLD_ALARMS), for EMAILSERVICE_HOLD_SECONDS, when that is not 0.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "emailservice/EmailEvent.h"

namespace emailservice {

class HoldRule final {
 public:
  HoldRule() = delete;

  // Whether `event` is an alarm of the UPS (only those are held) that becomes active, whose level
  // name ("critical", "warning" or "informational", as the e-mails name the level) is one of
  // `levels` or whose code, read as the filters read codes (hexadecimal, 32 bits), is one of
  // `codes`.
  static bool holds(EmailEvent const& event, std::initializer_list<char const*> levels,
                    std::initializer_list<std::int64_t> codes);
  // The same, with the build's settings; never with a hold of 0 seconds.
  static bool holds(EmailEvent const& event);
  // Whether two event codes name the same alarm: the same number as the filters read codes, or,
  // where one does not read as a number, the same text.
  static bool sameAlarm(std::string const& code, std::string const& other);
};

}  // namespace emailservice
