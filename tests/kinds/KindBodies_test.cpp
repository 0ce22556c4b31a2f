// Subject, body file and mail command of every e-mail kind, the body compared byte for byte with
// its reviewed golden text in tests/kinds/golden.
#include <cstdlib>
#include <ctime>

#include "KindsFixture.h"

namespace emailservice::testing {
namespace {

struct BodyCase {
  char const* name;
  Kind kind;
  EmailEvent event;
  bool unnamedSystem;  // neither the card nor the monitored device has a name
  bool alarms;         // the alarm history holds the periodic report's alarms
  char const* subject;
  char const* golden;
  // Regex whose first group is the time of composition, replaced by "<now>" before comparing.
  char const* clock;
};

void PrintTo(BodyCase const& c, std::ostream* os) { *os << c.name; }

constexpr char const kTestEmailClock[] =
    "\n(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d) - Info - 00C00F00 - Test email\n";
constexpr char const kPeriodEndClock[] = " to (\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d) \\(UTC\\)\\.\n";

EmailEvent event(std::int32_t type, std::int32_t level, std::int32_t state, std::string code, std::string description) {
  return EmailEvent{type, "2024-05-01 13:07:42", level, std::move(code), state, std::move(description)};
}

std::vector<BodyCase> bodyCases() {
  return {
      {"AlarmActiveCritical", Kind::Alarm, event(EventType::Ups, 1, 1, "1A2B", "Battery low"), false, false,
       "Room 2 UPS - Alarm - Active - Critical - Battery low", "alarm_active_critical.txt", nullptr},
      {"AlarmClearedWarningWithNineCharacterCode", Kind::Alarm,
       event(EventType::Ups, 2, 0, "123456789", "Input voltage out of range"), false, false,
       "Room 2 UPS - Alarm - Cleared - Warning - Input voltage out of range", "alarm_cleared_warning.txt", nullptr},
      {"SystemEventHasNoStateColumn", Kind::SystemEvent, event(EventType::Card, 3, 1, "C00F01", "Firmware updated"),
       false, false, "Room 2 UPS - System event - Informational - Firmware updated", "system_event.txt", nullptr},
      {"ExceptionOfLevelFourIsInformational", Kind::Exception,
       event(EventType::Ups, 4, 0, "12345678A", "Battery replaced"), false, false,
       "Room 2 UPS - Exception event - Informational - Battery replaced", "exception_event.txt", nullptr},
      {"TestEmailOfUnnamedSystemIgnoresTheEvent", Kind::Test, event(EventType::Test, 1, 1, "7", "not printed"), true,
       false, " - Test email", "test_email_unnamed_system.txt", kTestEmailClock},
      {"PeriodicReportListsAndCountsAlarms", Kind::Periodic, event(EventType::Periodic, 3, 1, "2", ""), false, true,
       "Room 2 UPS - Periodic report", "periodic_report.txt", kPeriodEndClock},
      {"PeriodicReportWithoutAlarms", Kind::Periodic, event(EventType::Periodic, 3, 1, "2", ""), false, false,
       "Room 2 UPS - Periodic report", "periodic_report_no_alarms.txt", kPeriodEndClock},
  };
}

class KindBodyTest : public KindsTest, public ::testing::WithParamInterface<BodyCase> {
 protected:
  void SetUp() override {
    KindsTest::SetUp();
    // Local time far from UTC, so that a time written in local time shows.
    char const* zone = std::getenv("TZ");
    savedZone = zone != nullptr ? zone : "";
    hadZone = zone != nullptr;
    setenv("TZ", "XST+05", 1);
    tzset();
  }

  void TearDown() override {
    if (hadZone) {
      setenv("TZ", savedZone.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
    KindsTest::TearDown();
  }

  // Every level subscribed, no log selected: the e-mail goes out without attachment.
  void subscribeEverything() {
    setFlags(*table.mutable_critical(), {true, false, false, false});
    setFlags(*table.mutable_warning(), {true, false, false, false});
    setFlags(*table.mutable_informational(), {true, false, false, false});
    periodicConfiguration.mutable_periodstart()->set_value(static_cast<std::int32_t>(kPeriodStart));
  }

  // Store order on purpose not chronological; some alarms lie before the period and must not count.
  void addAlarmHistory() {
    card().device(20).set_friendlyname("Main UPS");
    card().device(30).set_physicalname("Probe TH-1");
    addAlarm(1714560000, 0, 20, 3, "Critical", "Output overload");
    addAlarm(1714530000, 0, 30, 2, nullptr, "Temperature high");
    addAlarm(1714500000, 0, 20, 3, "Critical", "Fan failure");  // raised before the period
    addAlarm(4102444800, 0, 30, 6, "Warning", "Raised after 2038");
    int const closedLevels[] = {2, 3, 4, 6, 7, 9, 1};
    for (int level : closedLevels) {
      addAlarm(1714525000, 1714540000, 20, level, "Level", "Cleared in the period");
    }
    addAlarm(1714400000, 1714510000, 20, 3, "Critical", "Cleared before the period");
  }

  void addAlarm(std::int64_t raisedAt, std::int64_t clearedAt, unsigned long long device, int level,
                char const* levelText, char const* description) {
    auto& alarm = *card().state().add_alarms();
    alarm.set_raisedat(raisedAt);
    if (clearedAt != 0) {
      alarm.set_clearedat(clearedAt);
    }
    alarm.set_device(device);
    alarm.set_level(level);
    if (levelText != nullptr) {
      alarm.set_leveltext(levelText);
    }
    alarm.set_description(description);
  }

 private:
  std::string savedZone;
  bool hadZone = false;
};

TEST_P(KindBodyTest, ComposesSubjectBodyAndCommandAsReviewed) {
  BodyCase const& c = GetParam();
  subscribeEverything();
  if (c.unnamedSystem) {
    clearSystemName();
  }
  if (c.alarms) {
    addAlarmHistory();
  }
  auto email = makeKind(c.kind, c.event);

  std::string const before = formatUtc(std::time(nullptr));
  EXPECT_EQ(email->manageEmail("ops"), ErrorCode::Success);
  std::string const after = formatUtc(std::time(nullptr));

  EXPECT_EQ(email->getSubject(), c.subject);
  std::string body = readFile(bodyFile);
  if (c.clock != nullptr) {
    body = withClockReplaced(body, c.clock, before, after);
  }
  EXPECT_EQ(body, golden(c.golden));
  EXPECT_EQ(mailCommand(), expectedCommand(*email));
}

INSTANTIATE_TEST_SUITE_P(Kinds, KindBodyTest, ::testing::ValuesIn(bodyCases()),
                         [](auto const& paramInfo) { return std::string(paramInfo.param.name); });

}  // namespace
}  // namespace emailservice::testing
