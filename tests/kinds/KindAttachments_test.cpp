// The attachment list of every kind, character for character, for each selection of logs and for
// failed generations: fake alarm export and system logs with chosen statuses, real measure
// exports over measures directories with records, without records, or missing.
#include "KindsFixture.h"

namespace emailservice::testing {
namespace {

struct AttachmentCase {
  char const* name;
  Kind kind;
  std::int32_t eventType;
  Flags flags;             // the level entry of the event (alarm, system event), the card entry (periodic)
  Flags upsFlags;          // the UPS entry (periodic only)
  std::int32_t logStatus;  // what the alarm export and the system logs report
  Measures upsMeasures;
  Measures sensorMeasures;
  // "{W}" stands for the work directory, "{SYS}" for the system logs' list (with its own blank).
  char const* attachments;
  std::vector<std::string> alarmExportCalls;
  std::vector<std::string> systemLogCalls;
};

void PrintTo(AttachmentCase const& c, std::ostream* os) { *os << c.name; }

constexpr Flags kNone{false, false, false, false};
constexpr Measures R = Measures::Records;
constexpr char const kRecent[] = "generateFiles(25)";
constexpr char const kFromStart[] = "generateFilesFromDate(1714521600)";

// One row per case: kind, event type, level or card entry, UPS entry, log status, measures
// directories (ups, sensors), expected list, then the calls the alarm export and the system logs saw.
// clang-format off
std::vector<AttachmentCase> attachmentCases() {
  Measures const noRecords = Measures::NoRecords;
  Measures const noDirectory = Measures::NoDirectory;
  return {
    // Alarm notification: a UPS event of level 1; the critical entry decides.
    {"AlarmWithNoLogSelected", Kind::Alarm, EventType::Ups, {true, false, false, false}, kNone, 0, R, R,
     "", {}, {}},
    {"AlarmWithAlarmExport", Kind::Alarm, EventType::Ups, {true, false, true, false}, kNone, 0, R, R,
     " {W}logAlarm.csv", {kRecent}, {}},
    {"AlarmExportFailingIsLeftOut", Kind::Alarm, EventType::Ups, {true, false, true, false}, kNone, 3, R, R,
     "", {kRecent}, {}},
    {"AlarmWithMeasuresOnly", Kind::Alarm, EventType::Ups, {true, false, false, true}, kNone, 0, R, R,
     " {W}ups.csv {W}sensors.csv", {}, {}},
    {"AlarmUpsMeasuresWithoutRecordsLeftOut", Kind::Alarm, EventType::Ups, {true, false, false, true}, kNone, 0,
     noRecords, R, " {W}sensors.csv", {}, {}},
    {"AlarmSensorMeasuresDirectoryMissing", Kind::Alarm, EventType::Ups, {true, false, false, true}, kNone, 0,
     R, noDirectory, " {W}ups.csv", {}, {}},
    {"AlarmWithEverything", Kind::Alarm, EventType::Ups, {true, true, true, true}, kNone, 0, R, R,
     " {W}logAlarm.csv {W}ups.csv {W}sensors.csv", {kRecent}, {}},
    {"AlarmExportFailingMeasuresStillAttached", Kind::Alarm, EventType::Ups, {true, false, true, true}, kNone, 1,
     R, R, " {W}ups.csv {W}sensors.csv", {kRecent}, {}},
    {"AlarmIgnoresSystemLogFlag", Kind::Alarm, EventType::Ups, {true, true, false, false}, kNone, 0, R, R,
     "", {}, {}},
    // System event: a card event of level 1; only the system logs can be attached.
    {"SystemEventWithSystemLogs", Kind::SystemEvent, EventType::Card, {true, true, false, false}, kNone, 0, R, R,
     " {SYS}", {}, {kRecent}},
    {"SystemEventIgnoresAlarmAndMeasureFlags", Kind::SystemEvent, EventType::Card, {true, true, true, true}, kNone,
     0, R, R, " {SYS}", {}, {kRecent}},
    {"SystemEventLogsFailingAreLeftOut", Kind::SystemEvent, EventType::Card, {true, true, false, false}, kNone, -1,
     R, R, "", {}, {kRecent}},
    {"SystemEventWithoutSystemLogFlag", Kind::SystemEvent, EventType::Card, {true, false, true, true}, kNone, 0,
     R, R, "", {}, {}},
    // Exception event: the log of the event's origin, whatever the table says (here: nothing).
    {"ExceptionOfUpsAttachesAlarmExport", Kind::Exception, EventType::Ups, kNone, kNone, 0, R, R,
     " {W}logAlarm.csv", {kRecent}, {}},
    {"ExceptionOfCardAttachesSystemLogs", Kind::Exception, EventType::Card, kNone, kNone, 0, R, R,
     " {SYS}", {}, {kRecent}},
    {"ExceptionOfUnknownTypeAttachesSystemLogs", Kind::Exception, 7, kNone, kNone, 0, R, R,
     " {SYS}", {}, {kRecent}},
    {"ExceptionLogFailingIsLeftOut", Kind::Exception, EventType::Ups, kNone, kNone, 2, R, R,
     "", {kRecent}, {}},
    // Test e-mail: the system logs' list as it comes, with its one leading blank.
    {"TestEmailWithSystemLogs", Kind::Test, EventType::Test, kNone, kNone, 0, R, R,
     "{SYS}", {}, {kRecent}},
    {"TestEmailSystemLogsFailingAreLeftOut", Kind::Test, EventType::Test, kNone, kNone, -1, R, R,
     "", {}, {kRecent}},
    // Periodic report: card entry, then UPS entry; logs cut from the period start.
    {"PeriodicWithNothingSubscribed", Kind::Periodic, EventType::Periodic, {false, true, true, true},
     {false, true, true, true}, 0, R, R, "", {}, {}},
    {"PeriodicWithSystemLogs", Kind::Periodic, EventType::Periodic, {true, true, false, false}, kNone, 0, R, R,
     "{SYS}", {}, {kFromStart}},
    {"PeriodicListsSystemLogsWhateverTheirStatus", Kind::Periodic, EventType::Periodic, {true, true, false, false},
     kNone, -1, R, R, "{SYS}", {}, {kFromStart}},
    {"PeriodicWithAlarmExportOnly", Kind::Periodic, EventType::Periodic, {true, false, true, true},
     {true, false, true, false}, 0, R, R, " {W}logAlarm.csv", {kFromStart}, {}},
    {"PeriodicListsAlarmExportWhateverItsStatus", Kind::Periodic, EventType::Periodic, kNone,
     {true, false, true, false}, 5, R, R, " {W}logAlarm.csv", {kFromStart}, {}},
    {"PeriodicUpsMeasuresFailing", Kind::Periodic, EventType::Periodic, kNone, {true, false, false, true}, 0,
     noRecords, R, " {W}sensors.csv", {}, {}},
    {"PeriodicSensorMeasuresDirectoryMissing", Kind::Periodic, EventType::Periodic, kNone,
     {true, false, false, true}, 0, R, noDirectory, " {W}ups.csv", {}, {}},
    {"PeriodicUpsLogsNeedUpsSubscription", Kind::Periodic, EventType::Periodic, kNone, {false, false, true, true},
     0, R, R, "", {}, {}},
    {"PeriodicWithEverything", Kind::Periodic, EventType::Periodic, {true, true, false, false},
     {true, false, true, true}, 0, R, R, "{SYS} {W}logAlarm.csv {W}ups.csv {W}sensors.csv", {kFromStart},
     {kFromStart}},
  };
}
// clang-format on

std::string expand(std::string text) {
  auto replaceAll = [&text](std::string const& from, std::string const& to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
      text.replace(at, from.size(), to);
    }
  };
  replaceAll("{SYS}", systemLogList());
  replaceAll("{W}", paths::kWorkDirectory);
  return text;
}

class KindAttachmentTest : public KindsTest, public ::testing::WithParamInterface<AttachmentCase> {};

TEST_P(KindAttachmentTest, AttachesTheSelectedLogsThatAreReady) {
  AttachmentCase const& c = GetParam();
  setFlags(*table.mutable_critical(), c.flags);
  setFlags(*periodicConfiguration.mutable_cardeventconfiguration(), c.flags);
  setFlags(*periodicConfiguration.mutable_upseventconfiguration(), c.upsFlags);
  periodicConfiguration.mutable_periodstart()->set_value(static_cast<std::int32_t>(kPeriodStart));
  prepareMeasures(paths::kUpsMeasuresDirectory, c.upsMeasures);
  prepareMeasures(paths::kSensorMeasuresDirectory, c.sensorMeasures);
  alarmExport.status = c.logStatus;
  systemLogs.status = c.logStatus;
  EmailEvent const event{c.eventType, "2024-05-01 13:07:42", 1, "1A2B", 1, "Battery low"};
  auto email = makeKind(c.kind, event);

  EXPECT_EQ(email->manageEmail("ops"), ErrorCode::Success);

  EXPECT_EQ(email->getAttachments(), expand(c.attachments));
  EXPECT_EQ(mailCommand(), expectedCommand(*email));
  EXPECT_EQ(alarmExport.calls, c.alarmExportCalls);
  EXPECT_EQ(systemLogs.calls, c.systemLogCalls);
  // A measure export is on disk exactly when it is attached, while the e-mail object lives.
  for (char const* measures : {"ups.csv", "sensors.csv"}) {
    bool const attached = email->getAttachments().find(work(measures)) != std::string::npos;
    EXPECT_EQ(fileExists(work(measures)), attached) << measures;
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, KindAttachmentTest, ::testing::ValuesIn(attachmentCases()),
                         [](auto const& paramInfo) { return std::string(paramInfo.param.name); });

}  // namespace
}  // namespace emailservice::testing
