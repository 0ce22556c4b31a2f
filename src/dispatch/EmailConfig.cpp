#include "emailservice/EmailConfig.h"

#include <iostream>
#include <stdexcept>

#include "CardPaths.h"
#include "cdsapi/dataLog.h"
#include "dispatch/EventTypeRules.h"
#include "dravo_config.pb.h"
#include "email/EmailGlobalConfig.h"
#include "email/SubmissionRules.h"
#include "kinds/EmailException.h"
#include "kinds/EmailNotifsConfig.h"
#include "kinds/EmailPeriodicConfig.h"
#include "kinds/EmailSystemNotif.h"
#include "kinds/EmailTestConfig.h"
#include "logfiles/SystemEventLogFile.h"
#include "logfiles/UpsEventLogFile.h"
#include "outbox/OutboxSeam.h"
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

// Dispatch: the choice of the kind, its sending and the mapping of its result.

namespace {

// The failure and success codes that the sending of one kind of e-mail maps to.
struct ResultPair {
  ErrorCode failure;
  ErrorCode success;
};

// Alarm, system event and exception e-mails, and no e-mail at all.
constexpr ResultPair kNotificationResults{ErrorCode::SendError, ErrorCode::Success};
// Test e-mails and periodic reports: the caller tells the administrator which one it was.
constexpr ResultPair kReportResults{ErrorCode::TestEmailFailed, ErrorCode::TestEmailSucceeded};

// Releases the chosen kind when one dispatch ends, normally or by an exception. The kind refers
// to the work-file name and the log files of that dispatch, so it must not outlive them; nothing
// uses it after the dispatch, so it goes at once rather than with its EmailConfig. Declared after
// those locals, it runs before they are destroyed.
class KindRelease final {
 public:
  explicit KindRelease(std::unique_ptr<EmailGlobalConfig>& chosen) : kind(chosen) {}
  ~KindRelease() { kind.reset(); }
  KindRelease(KindRelease const&) = delete;
  KindRelease& operator=(KindRelease const&) = delete;

 private:
  std::unique_ptr<EmailGlobalConfig>& kind;
};

}  // namespace

ErrorCode EmailConfig::manageEmail(bool hideIpAddress) {
  // Nothing is written or sent for a configuration whose id the build refuses; a report or test
  // asked of it fails.
  if (!SubmissionRules::acceptsConfigurationId(configuration.id().value())) {
    return EventTypeRules::addresses(event, configuration.id().value()) ? ErrorCode::TestEmailFailed
                                                                        : ErrorCode::Success;
  }
  std::string const messageFileName =
      paths::kWorkDirectory + configuration.id().value() + EventTypeRules::workFileSuffix(event.type);
  selectedEmail.reset();
  SystemEventLogFile systemEventLogs(paths::kWorkDirectory);
  UpsEventLogFile alarmExport(std::string(paths::kWorkDirectory) + "logAlarm.csv");
  KindRelease const release(selectedEmail);

  // A report or test for another configuration: nothing to send here. The log files above are
  // built all the same (the alarm export's guard disposes of its file).
  if (EventTypeRules::addressesOneConfiguration(event.type) &&
      !EventTypeRules::addresses(event, configuration.id().value())) {
    return ErrorCode::Success;
  }

  ResultPair results = kNotificationResults;
  switch (event.type) {
    case EventType::Periodic:
      selectedEmail = std::make_unique<EmailPeriodicConfig>(cdsAccessor, event, alarmExport, systemEventLogs,
                                                            messageFileName, configuration.periodicconfiguration());
      results = kReportResults;
      break;
    case EventType::Card:
      if (configuration.eventnotification().value() && !isExceptionEvent(excludedEventCodes) && !isEmailEvent()) {
        selectedEmail = std::make_unique<EmailSystemNotif>(cdsAccessor, event, systemEventLogs, messageFileName,
                                                           configuration.cardeventtable());
      }
      break;
    case EventType::Ups:
      if (configuration.eventnotification().value() && !isExceptionEvent(excludedEventCodes)) {
        selectedEmail = std::make_unique<EmailNotifsConfig>(cdsAccessor, event, alarmExport, messageFileName,
                                                            configuration.upseventtable());
      }
      break;
    case EventType::Test:
      selectedEmail = std::make_unique<EmailTestConfig>(cdsAccessor, event, systemEventLogs, messageFileName);
      results = kReportResults;
      break;
    default:
      break;
  }

  // An exception event replaces whatever the event would otherwise have given, even nothing.
  bool const exceptionTested = !EventTypeRules::addressesOneConfiguration(event.type);
  if (exceptionTested && isExceptionEvent(exceptionEventCodes)) {
    selectedEmail.reset();
    EventLogFile& originLog = event.type == EventType::Ups ? static_cast<EventLogFile&>(alarmExport)
                                                           : static_cast<EventLogFile&>(systemEventLogs);
    selectedEmail = std::make_unique<EmailException>(cdsAccessor, event, originLog, messageFileName);
    results = kNotificationResults;
  }

  if (!selectedEmail) {
    return ErrorCode::Success;
  }
  setRecipients();
  // The list-level flag hides the address for every configuration; otherwise each decides.
  selectedEmail->setHideIpAddress(hideIpAddress || configuration.hideipaddress().value());
  selectedEmail->setConfiguration(configuration.id().value(), configuration.name().value());
  // Where the build has an outbox, it may hold the e-mail of a UPS alarm, keep it behind earlier
  // ones of its configuration, or drop a held one with the alarm that clears it.
  auto const decision = OutboxSeam::beforeSending(configuration.id().value(), configuration.name().value(), event);
  if (decision == OutboxSeam::Decision::Dropped) {
    return results.success;
  }
  selectedEmail->setHandOver(decision == OutboxSeam::Decision::Send);
  ErrorCode const sent = selectedEmail->manageEmail(recipients);
  // A kind that decided not to send (a level not subscribed) composed nothing.
  if (auto const& submission = selectedEmail->lastSubmission()) {
    OutboxSeam::afterSending(submission->email, submission->outcome, decision, event);
  }
  // A held e-mail is not a failure: it goes out once the hold has passed, if its alarm lasts.
  bool const failed = sent == ErrorCode::SendError && decision != OutboxSeam::Decision::Hold;
  return failed ? results.failure : results.success;
}

}  // namespace emailservice
