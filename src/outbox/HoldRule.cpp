#include "outbox/HoldRule.h"

#include <cctype>
#include <exception>
#include <string>

#include "BuildSettings.h"

namespace emailservice {

bool HoldRule::holds(EmailEvent const& event, std::initializer_list<char const*> levels,
                     std::initializer_list<std::int64_t> codes) {
  if (event.type != EventType::Ups || event.state == 0) {
    return false;
  }
  std::string level = event.getEventLevel();
  for (char& c : level) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  for (auto const* held : levels) {
    if (level == held) {
      return true;
    }
  }
  try {
    std::int64_t const code = std::stoi(event.code, nullptr, 16);
    for (std::int64_t const held : codes) {
      if (held == code) {
        return true;
      }
    }
  } catch (std::exception const&) {
    // A code that does not read as a number is held by its level alone.
  }
  return false;
}

bool HoldRule::sameAlarm(std::string const& code, std::string const& other) {
  try {
    return std::stoi(code, nullptr, 16) == std::stoi(other, nullptr, 16);
  } catch (std::exception const&) {
    return code == other;
  }
}

bool HoldRule::holds(EmailEvent const& event) {
  return settings::kHoldSeconds > 0 && holds(event, settings::kHoldLevels, settings::kHoldCodes);
}

}  // namespace emailservice
