#include "emailservice/EmailConfig.h"

#include "CardPaths.h"
#include "dravo_config.pb.h"
#include "email/EmailGlobalConfig.h"
#include "kinds/EmailException.h"
#include "kinds/EmailNotifsConfig.h"
#include "kinds/EmailPeriodicConfig.h"
#include "kinds/EmailSystemNotif.h"
#include "kinds/EmailTestConfig.h"
#include "logfiles/SystemEventLogFile.h"
#include "logfiles/UpsEventLogFile.h"

namespace emailservice {

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
  explicit KindRelease(std::unique_ptr<EmailGlobalConfig>& kind) : kind(kind) {}
  ~KindRelease() { kind.reset(); }
  KindRelease(KindRelease const&) = delete;
  KindRelease& operator=(KindRelease const&) = delete;

 private:
  std::unique_ptr<EmailGlobalConfig>& kind;
};

}  // namespace

ErrorCode EmailConfig::manageEmail(bool hideIpAddress) {
  std::string messageFileName = std::string(paths::kWorkDirectory) + configuration.id().value();
  selectedEmail.reset();
  SystemEventLogFile systemEventLogs(paths::kWorkDirectory);
  UpsEventLogFile alarmExport(std::string(paths::kWorkDirectory) + "logAlarm.csv");
  KindRelease const release(selectedEmail);

  // Test and Periodic events name the one configuration they are for in their code.
  bool const addressed = configuration.id().value() == event.code;
  ResultPair results = kNotificationResults;
  switch (event.type) {
    case EventType::Periodic:
      if (!addressed) {
        return ErrorCode::Success;
      }
      messageFileName += "report.txt";
      selectedEmail = std::make_unique<EmailPeriodicConfig>(cdsAccessor, event, alarmExport, systemEventLogs,
                                                            messageFileName, configuration.periodicconfiguration());
      results = kReportResults;
      break;
    case EventType::Card:
      messageFileName += "card.txt";
      if (configuration.eventnotification().value() && !isExceptionEvent(excludedEventCodes) && !isEmailEvent()) {
        selectedEmail = std::make_unique<EmailSystemNotif>(cdsAccessor, event, systemEventLogs, messageFileName,
                                                           configuration.cardeventtable());
      }
      break;
    case EventType::Ups:
      messageFileName += "ups.txt";
      if (configuration.eventnotification().value() && !isExceptionEvent(excludedEventCodes)) {
        selectedEmail = std::make_unique<EmailNotifsConfig>(cdsAccessor, event, alarmExport, messageFileName,
                                                            configuration.upseventtable());
      }
      break;
    case EventType::Test:
      if (!addressed) {
        return ErrorCode::Success;
      }
      messageFileName += "test.txt";
      selectedEmail = std::make_unique<EmailTestConfig>(cdsAccessor, event, systemEventLogs, messageFileName);
      results = kReportResults;
      break;
    default:
      break;
  }

  // An exception event replaces whatever the event would otherwise have given, even nothing.
  bool const exceptionTested = event.type != EventType::Periodic && event.type != EventType::Test;
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
  ErrorCode const sent = selectedEmail->manageEmail(recipients);
  return sent == ErrorCode::SendError ? results.failure : results.success;
}

}  // namespace emailservice
