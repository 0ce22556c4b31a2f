// The event record that the caller hands to the library for every event.
#pragma once

#include <cstdint>
#include <string>

#include "emailservice/Export.h"

namespace emailservice {

// Values of EmailEvent::type.
struct EventType {
  static constexpr std::int32_t Periodic = 1;  // a periodic report is due for the configuration `code`
  static constexpr std::int32_t Card = 2;      // an event of the card itself
  static constexpr std::int32_t Ups = 3;       // an alarm of the UPS
  static constexpr std::int32_t Test = 4;      // a test e-mail is requested for the configuration `code`
};

// Values of EmailEvent::level.
struct EventLevel {
  static constexpr std::int32_t Critical = 1;
  static constexpr std::int32_t Warning = 2;
  static constexpr std::int32_t Informational = 3;
};

// Filled by the caller; the library only reads it, and never beyond the call it was given to.
struct EMAILSERVICE_EXPORT EmailEvent {
  std::int32_t type;        // EventType
  std::string date;         // when it happened, formatted by the caller (UTC expected); printed as is
  std::int32_t level;       // EventLevel
  std::string code;         // hexadecimal event code, or the configuration id for Periodic and Test
  std::int32_t state;       // 0: cleared; anything else: active
  std::string description;  // printed as is

  // "Critical" for level 1, "Warning" for 2, "Informational" for any other level.
  std::string getEventLevel() const;
  // "Cleared" when state is 0, "Active" otherwise.
  std::string getEventState() const;
  // `code` left-filled with "0" to 8 characters; a longer code is returned whole.
  std::string formatEventCode() const;
};

}  // namespace emailservice
