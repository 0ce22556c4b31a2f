#include "emailservice/EmailConfig.h"

#include <iostream>
#include <stdexcept>

#include "cdsapi/dataLog.h"
#include "dravo_config.pb.h"
#include "email/EmailGlobalConfig.h"
#include "utils/Helper.h"

namespace emailservice {

namespace {

constexpr char const* kCodeSeparator = ",";
// Bits 22 and 23 of an event code together mark an event that may be mailed.
constexpr int kEmailEventBits = 0x00C00000;

// An event code or a list entry as a number: hexadecimal, signed 32 bits. Raises
// std::invalid_argument or std::out_of_range, both with the text "stoi".
int parseCode(std::string const& text) { return std::stoi(text, nullptr, 16); }

}  // namespace

EmailConfig::EmailConfig(cdsapi::CdsAccessor& accessor, EmailEvent const& emailEvent,
                         dravo::proto::EmailConfiguration const& emailConfiguration)
    : cdsAccessor(accessor), event(emailEvent), configuration(emailConfiguration) {
  // Entries are kept as written; they are parsed only when a list is tested. An empty text gives
  // an empty list, which matches no event and prints nothing.
  utils::Helper::split(configuration.exceptionevents().value(), kCodeSeparator, exceptionEventCodes);
  utils::Helper::split(configuration.excludedevents().value(), kCodeSeparator, excludedEventCodes);
}

EmailConfig::~EmailConfig() { selectedEmail.reset(); }

void EmailConfig::setRecipients() { recipients = configuration.recipients().value(); }

bool EmailConfig::isEmailEvent() const {
  try {
    return (parseCode(event.code) & kEmailEventBits) == kEmailEventBits;
  } catch (std::invalid_argument const& failure) {
    std::cout << "isEmailEvent exception: " << failure.what() << event.code << '\n';
  } catch (std::out_of_range const& failure) {
    std::cout << "isEmailEvent exception: " << failure.what() << event.code << '\n';
  }
  return false;
}

bool EmailConfig::isExceptionEvent(std::vector<std::string> const& codes) const {
  // A malformed entry ends the test: the entries after it are not looked at.
  try {
    int const eventCode = parseCode(event.code);
    for (auto const& entry : codes) {
      if (parseCode(entry) == eventCode) {
        return true;
      }
    }
  } catch (std::invalid_argument const& failure) {
    std::cout << "isExceptionEvent exception: " << failure.what() << event.code << '\n';
  } catch (std::out_of_range const& failure) {
    std::cout << "isExceptionEvent exception: " << failure.what() << event.code << '\n';
  }
  return false;
}

void EmailConfig::logError(ErrorCode code) {
  char const* opening = nullptr;
  int eventId = 0;
  cdsapi::syslog_severity severity = cdsapi::SEVERITY_WARNING;
  switch (code) {
    case ErrorCode::SendError:
      opening = "Error sending email for ";
      eventId = 8;
      break;
    case ErrorCode::TestEmailFailed:
      opening = "Test email failed for ";
      eventId = 8;
      break;
    case ErrorCode::TestEmailSucceeded:
      opening = "Test email succeded for ";
      eventId = 12;
      severity = cdsapi::SEVERITY_INFORMATIONAL;
      break;
    default:
      // Success, and any value outside the enumeration, is not worth an entry.
      return;
  }
  cdsapi::dataLog::logMessage(cdsapi::enLogCategoryEmail, eventId, 0, severity, "", 0,
                              opening + configuration.name().value() + " configuration");
}

}  // namespace emailservice
