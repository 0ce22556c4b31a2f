#include "emailservice/EmailEvent.h"

namespace emailservice {

namespace {
constexpr std::string::size_type kEventCodeWidth = 8;
}

std::string EmailEvent::getEventLevel() const {
  switch (level) {
    case EventLevel::Critical:
      return "Critical";
    case EventLevel::Warning:
      return "Warning";
    default:
      return "Informational";
  }
}

std::string EmailEvent::getEventState() const { return state != 0 ? "Active" : "Cleared"; }

std::string EmailEvent::formatEventCode() const {
  if (code.size() >= kEventCodeWidth) {
    return code;
  }
  return std::string(kEventCodeWidth - code.size(), '0') + code;
}

}  // namespace emailservice
