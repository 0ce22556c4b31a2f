// The hold of UPS alarms: which alarms are held, and what becomes of them over the clock, through
// whole calls with the storage's clocks set (FaultyFiles in the place of the system's calls).
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "BuildSettings.h"
#include "emailservice/Outbox.h"
#include "outbox/FaultyFiles.h"
#include "outbox/HoldRule.h"
#include "outbox/OutboxChecks.h"
#include "support/RecordingMail.h"
#include "support/WholeCall.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;

// Only alarms of the UPS that become active are held: by their level's name, as the e-mails name
// it, or by their code, read as the filters read codes.
TEST(HoldRuleTest, HoldsActiveUpsAlarmsOfTheLevelsAndCodesNamed) {
  struct {
    std::int32_t type;
    std::int32_t level;
    char const* code;
    std::int32_t state;
    bool held;
  } const cases[] = {
      {EventType::Ups, EventLevel::Critical, "1A", 1, false},
      {EventType::Ups, EventLevel::Warning, "1A", 1, true},
      {EventType::Ups, EventLevel::Informational, "1A", 2, true},
      {EventType::Ups, 7, "1A", 1, true},                     // a level without a name reads "Informational"
      {EventType::Ups, EventLevel::Warning, "1A", 0, false},  // cleared
      {EventType::Card, EventLevel::Warning, "1A", 1, false},
      {EventType::Test, EventLevel::Warning, "", 1, false},
      {EventType::Ups, EventLevel::Critical, "c0de", 1, true},
      {EventType::Ups, EventLevel::Critical, "0x00C0DE", 1, true},
      {EventType::Ups, EventLevel::Critical, "C0DF", 1, false},
      {EventType::Ups, EventLevel::Critical, "zz", 1, false},
  };
  for (auto const& c : cases) {
    EmailEvent const event{c.type, "", c.level, c.code, c.state, ""};
    EXPECT_EQ(HoldRule::holds(event, {"warning", "informational"}, {0xC0DE}), c.held)
        << c.type << " " << c.level << " " << c.code << " " << c.state;
  }
}

// One step of a scenario over the clock, at `second` since its start.
struct Step {
  int second;
  enum { Active, Cleared, Retry, RelayDown, RelayUp, Reboot } what;
  char const* code;
};

struct Scenario {
  char const* name;
  std::vector<Step> steps;
  std::vector<std::string> sent;  // the alarms mailed, in order: "Active C0DE", "Cleared C1DE", ...
  int notEmailed;                 // card log entries of blips
};

class HoldTest : public RecordingMailTest {
 protected:
  void SetUp() override {
    RecordingMailTest::SetUp();
    clock.id = "boot-1";
    OutboxFiles::use(&clock);
  }
  void TearDown() override {
    OutboxFiles::use(nullptr);
    RecordingMailTest::TearDown();
  }

  // The storage's calls, with clocks that move only when a step says so.
  FaultyFiles clock;
};

TEST_F(HoldTest, HeldAlarmsOverTheClock) {
  std::int64_t const hold = settings::kHoldSeconds;
  if (hold == 0 || hold > 30 || !HoldRule::holds(EmailEvent{EventType::Ups, "", 2, "C0DE", 1, ""}) ||
      !HoldRule::holds(EmailEvent{EventType::Ups, "", 2, "C1DE", 1, ""})) {
    GTEST_SKIP() << "a build that holds alarms C0DE and C1DE for at most 30 s";
  }
  int const after = static_cast<int>(hold) + 1;
  Scenario const scenarios[] = {
      {"cleared before it is due", {{0, Step::Active, "C0DE"}, {1, Step::Cleared, "C0DE"}}, {}, 1},
      {"cleared after it went out",
       {{0, Step::Active, "C0DE"}, {after, Step::Retry, ""}, {after + 1, Step::Cleared, "C0DE"}},
       {"Active C0DE", "Cleared C0DE"},
       0},
      {"due when the clearing call comes",
       {{0, Step::Active, "C0DE"}, {after, Step::Cleared, "C0DE"}},
       {"Active C0DE", "Cleared C0DE"},
       0},
      {"two alarms interleaved",
       {{0, Step::Active, "C0DE"},
        {1, Step::Active, "C1DE"},
        {2, Step::Cleared, "C0DE"},
        {after + 1, Step::Retry, ""},
        {after + 2, Step::Cleared, "C1DE"}},
       {"Active C1DE", "Cleared C1DE"},
       1},
      {"flapping five times within the hold",
       {{0, Step::Active, "C0DE"},
        {0, Step::Cleared, "C0DE"},
        {1, Step::Active, "C0DE"},
        {1, Step::Cleared, "C0DE"},
        {1, Step::Active, "C0DE"},
        {1, Step::Cleared, "C0DE"},
        {2, Step::Active, "C0DE"},
        {2, Step::Cleared, "C0DE"},
        {2, Step::Active, "C0DE"},
        {2, Step::Cleared, "C0DE"},
        {after + 2, Step::Retry, ""}},
       {},
       5},
      {"across a reboot, still active",
       {{0, Step::Active, "C0DE"}, {1, Step::Reboot, ""}, {after, Step::Retry, ""}},
       {"Active C0DE"},
       0},
      {"the relay down when it falls due",
       {{0, Step::Active, "C0DE"},
        {0, Step::RelayDown, ""},
        {after, Step::Retry, ""},
        {after, Step::RelayUp, ""},
        {after + 1, Step::Cleared, "C0DE"}},
       {"Active C0DE", "Cleared C0DE"},
       0},
      {"a critical alarm is not held", {{0, Step::Active, "1A"}}, {"Active 1A"}, 0},
  };
  setenv("HARDENING_SENT", "1", 1);
  for (auto const& scenario : scenarios) {
    SCOPED_TRACE(scenario.name);
    card().reset();
    storeConfigurations({"7"}, "ops@example.com",
                        "name { value: \"Office\" } upsEventTable { warning { subscribed { value: true } } }");
    fs::remove_all(kOutboxDirectory);
    fs::remove(record + ".sent");
    unsetenv("HARDENING_FAULT");
    std::int64_t bootStart = 1000;
    clock.id = "boot-1";
    for (auto const& step : scenario.steps) {
      clock.wall = 1795000000 + step.second;
      clock.boot = bootStart + step.second;
      if (step.what == Step::Active || step.what == Step::Cleared) {
        bool const critical = std::string(step.code) == "1A";
        EXPECT_EQ(manageEmails(EmailEvent{EventType::Ups, "2026-11-25 10:00:00",
                                          critical ? EventLevel::Critical : EventLevel::Warning, step.code,
                                          step.what == Step::Active ? 1 : 0, step.code}),
                  ErrorCode::Success)
            << "at " << step.second;
      } else if (step.what == Step::Retry) {
        Outbox::retry();
      } else if (step.what == Step::RelayDown || step.what == Step::RelayUp) {
        step.what == Step::RelayDown ? setenv("HARDENING_FAULT", "refuse", 1) : unsetenv("HARDENING_FAULT");
      } else {
        clock.id = "boot-2";  // the boot clock starts again
        bootStart = -step.second;
        clock.boot = 0;
      }
    }
    std::vector<std::string> sent;
    std::string const lines = fileExists(record + ".sent") ? readFile(record + ".sent") : "";
    for (auto at = lines.find(" - Alarm - "); at != std::string::npos; at = lines.find(" - Alarm - ", at + 1)) {
      std::string const state = lines.substr(at + 11, lines.find(' ', at + 11) - at - 11);
      auto const colon = lines.find(':', at);
      auto const last = lines.rfind(" - ", colon) + 3;
      std::string const code = lines.substr(last, colon - last);
      sent.push_back(state + " " + code);
    }
    EXPECT_EQ(sent, scenario.sent);
    auto const entries = outboxEntries();
    EXPECT_EQ(std::count_if(entries.begin(), entries.end(),
                            [](std::string const& entry) {
                              return entry.find("47: Alarm C0DE was active for ") == 0 &&
                                     entry.find(" s and was not emailed to Office configuration") != std::string::npos;
                            }),
              scenario.notEmailed);
    EXPECT_TRUE(Outbox::list().empty() || !scenario.sent.empty()) << "a held e-mail outlived its alarm";
  }
}

}  // namespace
}  // namespace emailservice::testing
