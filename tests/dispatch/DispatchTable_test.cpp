// The choice of the e-mail kind: event type, the configuration's switches and its two code lists
// in; the kind (seen in the subject), its log (seen in the attachments), its work file and the
// result code out.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "CardPaths.h"
#include "cdsapi/CdsAccessor.h"
#include "dispatch/DispatchCard.h"
#include "emailservice/EmailConfig.h"
#include "support/CardTest.h"

namespace emailservice::testing {
namespace {

enum class Kind { None, Periodic, SystemEvent, Alarm, Test, Exception };
// SystemLogs: the list of the system logs after a blank of the kind's own (two blanks in front);
// SystemLogsAsListed: the list as the system logs give it (one blank in front).
enum class Log { None, SystemLogs, SystemLogsAsListed, AlarmExport, Both };

struct Row {
  char const* name;
  std::int32_t type;
  char const* code;
  bool eventNotification;
  char const* exceptionEvents;
  char const* excludedEvents;
  Kind kind;
  Log log;
  char const* workFile;  // after the work directory
  ErrorCode sentResult;
  ErrorCode failedResult;
};

void PrintTo(Row const& row, std::ostream* out) { *out << row.name; }

std::string subjectOfKind(Kind kind) {
  switch (kind) {
    case Kind::Periodic:
      return "UPS-A - Periodic report";
    case Kind::SystemEvent:
      return "UPS-A - System event - Critical - On battery";
    case Kind::Alarm:
      return "UPS-A - Alarm - Active - Critical - On battery";
    case Kind::Test:
      return "UPS-A - Test email";
    case Kind::Exception:
      return "UPS-A - Exception event - Critical - On battery";
    case Kind::None:
      break;
  }
  return "";
}

std::string attachmentsOfLog(Log log) {
  std::string const directory = paths::kWorkDirectory;
  std::string const systemLogs = " " + directory + "logUpdate.csv " + directory + "logAccount.csv " + directory +
                                 "logSession.csv " + directory + "logSystem.csv";
  std::string const alarmExport = directory + "logAlarm.csv";
  switch (log) {
    case Log::SystemLogs:
      return " " + systemLogs;
    case Log::SystemLogsAsListed:
      return systemLogs;
    case Log::AlarmExport:
      return " " + alarmExport;
    case Log::Both:  // the periodic report assigns the system logs, then appends the export
      return systemLogs + " " + alarmExport;
    case Log::None:
      break;
  }
  return "";
}

constexpr std::int32_t kPeriodic = EventType::Periodic;
constexpr std::int32_t kCard = EventType::Card;
constexpr std::int32_t kUps = EventType::Ups;
constexpr std::int32_t kTest = EventType::Test;
constexpr ErrorCode kSuccess = ErrorCode::Success;
constexpr ErrorCode kSendError = ErrorCode::SendError;
constexpr ErrorCode kSucceeded = ErrorCode::TestEmailSucceeded;
constexpr ErrorCode kFailed = ErrorCode::TestEmailFailed;

// The configuration under test has the id "3".
Row const kRows[] = {
    {"PeriodicForThisConfigurationSendsTheReport", kPeriodic, "3", true, "", "", Kind::Periodic, Log::Both,
     "3report.txt", kSucceeded, kFailed},
    {"PeriodicForThisConfigurationIgnoresItsSwitches", kPeriodic, "3", false, "3", "3", Kind::Periodic, Log::Both,
     "3report.txt", kSucceeded, kFailed},
    {"PeriodicForAnotherConfigurationSendsNothingEvenIfListedAsException", kPeriodic, "4", true, "4", "", Kind::None,
     Log::None, "", kSuccess, kSuccess},
    {"PeriodicIdIsComparedAsTextNotAsNumber", kPeriodic, "03", true, "", "", Kind::None, Log::None, "", kSuccess,
     kSuccess},
    {"CardEventSendsTheSystemEventEmail", kCard, "1A", true, "", "", Kind::SystemEvent, Log::SystemLogs, "3card.txt",
     kSuccess, kSendError},
    {"CardEventWithNotificationsOffSendsNothing", kCard, "1A", false, "", "", Kind::None, Log::None, "", kSuccess,
     kSuccess},
    {"CardEventWithExcludedCodeSendsNothing", kCard, "1A", true, "", "5,001a", Kind::None, Log::None, "", kSuccess,
     kSuccess},
    {"CardEmailEventSendsNoSystemEventEmail", kCard, "C00001", true, "", "", Kind::None, Log::None, "", kSuccess,
     kSuccess},
    {"CardEmailEventListedAsExceptionSendsTheExceptionEmail", kCard, "C00001", true, "c00001", "", Kind::Exception,
     Log::SystemLogs, "3card.txt", kSuccess, kSendError},
    {"CardEventListedAsExceptionReplacesTheSystemEventEmail", kCard, "1A", true, "0x1A", "", Kind::Exception,
     Log::SystemLogs, "3card.txt", kSuccess, kSendError},
    {"CardEventWithUnparsableCodeStillGetsTheSystemEventEmail", kCard, "zz", true, "zz", "zz", Kind::SystemEvent,
     Log::SystemLogs, "3card.txt", kSuccess, kSendError},
    {"UpsEventSendsTheAlarmNotification", kUps, "2A01", true, "", "", Kind::Alarm, Log::AlarmExport, "3ups.txt",
     kSuccess, kSendError},
    {"UpsEventWithNotificationsOffSendsNothing", kUps, "2A01", false, "", "", Kind::None, Log::None, "", kSuccess,
     kSuccess},
    {"UpsEventWithExcludedCodeSendsNothing", kUps, "2A01", true, "", "2A01", Kind::None, Log::None, "", kSuccess,
     kSuccess},
    {"UpsEventExcludedAndListedAsExceptionSendsTheExceptionEmail", kUps, "2A01", true, "2A01", "2A01", Kind::Exception,
     Log::AlarmExport, "3ups.txt", kSuccess, kSendError},
    {"UpsEventListedAsExceptionIsSentWithNotificationsOff", kUps, "2A01", false, "2A01", "", Kind::Exception,
     Log::AlarmExport, "3ups.txt", kSuccess, kSendError},
    {"UpsEmailEventCodeStillSendsTheAlarm", kUps, "C00001", true, "", "", Kind::Alarm, Log::AlarmExport, "3ups.txt",
     kSuccess, kSendError},
    {"TestForThisConfigurationSendsTheTestEmail", kTest, "3", true, "", "", Kind::Test, Log::SystemLogsAsListed,
     "3test.txt", kSucceeded, kFailed},
    {"TestForThisConfigurationIgnoresItsSwitches", kTest, "3", false, "3", "3", Kind::Test, Log::SystemLogsAsListed,
     "3test.txt", kSucceeded, kFailed},
    {"TestForAnotherConfigurationSendsNothingEvenIfListedAsException", kTest, "4", true, "4", "", Kind::None, Log::None,
     "", kSuccess, kSuccess},
    {"OtherTypeListedAsExceptionSendsTheExceptionEmailWithTheBareWorkFile", 7, "1A", true, "1A", "", Kind::Exception,
     Log::SystemLogs, "3", kSuccess, kSendError},
    {"OtherTypeNotListedSendsNothing", 7, "1A", true, "", "", Kind::None, Log::None, "", kSuccess, kSuccess},
    {"TypeZeroListedAsExceptionSendsTheExceptionEmail", 0, "1A", false, "1A", "", Kind::Exception, Log::SystemLogs, "3",
     kSuccess, kSendError},
};

class DispatchTableTest : public CardTest, public ::testing::WithParamInterface<Row> {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    setUpNamedCard(card());
  }

  // Dispatches the row's event to configuration "3" while the mail command prints `output`.
  ErrorCode dispatch(std::string const& output) {
    Row const& row = GetParam();
    dravo::proto::EmailConfiguration configuration = sendingConfiguration("3");
    configuration.mutable_eventnotification()->set_value(row.eventNotification);
    configuration.mutable_exceptionevents()->set_value(row.exceptionEvents);
    configuration.mutable_excludedevents()->set_value(row.excludedEvents);
    EmailEvent const event = makeEvent(row.type, row.code);
    recordCommands(output);
    cdsapi::CdsAccessor accessor;
    EmailConfig emailConfig(accessor, event, configuration);
    return emailConfig.manageEmail(false);
  }

  void expectTheRowsEmail() {
    Row const& row = GetParam();
    auto const sent = recordedShellCommands();
    if (row.kind == Kind::None) {
      EXPECT_TRUE(sent.empty()) << sent.front();
      return;
    }
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(subjectOf(sent[0]), subjectOfKind(row.kind));
    EXPECT_EQ(attachmentsOf(sent[0]), attachmentsOfLog(row.log));
    EXPECT_EQ(recipientsOf(sent[0]), "ops@example.com");
    EXPECT_EQ(bodyFileOf(sent[0]), std::string(paths::kWorkDirectory) + row.workFile);
  }
};

TEST_P(DispatchTableTest, SendsTheRowsKindAndMapsASentEmail) {
  EXPECT_EQ(dispatch(""), GetParam().sentResult);
  expectTheRowsEmail();
}

TEST_P(DispatchTableTest, SendsTheRowsKindAndMapsAFailedSending) {
  EXPECT_EQ(dispatch("sendemail: Could not send the message\n"), GetParam().failedResult);
  expectTheRowsEmail();
}

INSTANTIATE_TEST_SUITE_P(Rows, DispatchTableTest, ::testing::ValuesIn(kRows),
                         [](::testing::TestParamInfo<Row> const& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace emailservice::testing
