// The hold of UPS alarms: which alarms are held, and what becomes of them over the clock, through
// whole calls with the storage's clocks set (FaultyFiles in the place of the system's calls).
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "BuildSettings.h"
#include "dispatch/CallLock.h"
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

// The second of a step: a number, "H" (the hold and one second) or "H+N".
int secondOf(std::string const& text, int hold) {
  return text[0] == 'H' ? hold + 1 + (text.size() > 1 ? std::stoi(text.substr(2)) : 0) : std::stoi(text);
}

// The alarms mailed, in order, as the recording sendemail saw their subjects: "Active C0DE ...".
std::string mailedAlarms(std::string const& sent) {
  std::string mailed;
  for (auto at = sent.find(" - Alarm - "); at != std::string::npos; at = sent.find(" - Alarm - ", at + 1)) {
    auto const colon = sent.find(':', at);
    auto const code = sent.rfind(" - ", colon) + 3;
    mailed += (mailed.empty() ? "" : " ") + sent.substr(at + 11, sent.find(' ', at + 11) - at - 11) + " " +
              sent.substr(code, colon - code);
  }
  return mailed;
}

// Every scenario of hold-scenarios.txt, through whole calls with the storage's clocks set.
TEST_F(HoldTest, HeldAlarmsOverTheClock) {
  int const hold = static_cast<int>(settings::kHoldSeconds);
  if (hold == 0 || hold > 30 || !HoldRule::holds(EmailEvent{EventType::Ups, "", 2, "C0DE", 1, ""}) ||
      !HoldRule::holds(EmailEvent{EventType::Ups, "", 2, "C1DE", 1, ""})) {
    GTEST_SKIP() << "a build that holds alarms C0DE and C1DE for at most 30 s";
  }
  setenv("HARDENING_SENT", "1", 1);
  std::istringstream scenarios(readFile(EMAILSERVICE_SOURCE_DIR "/tests/outbox/hold-scenarios.txt"));
  for (std::string line; std::getline(scenarios, line);) {
    if (line.empty() || line[0] == '#') {
      continue;
    }
    std::vector<std::string> fields;
    std::istringstream columns(line);
    for (std::string field; std::getline(columns, field, '|');) {
      auto const first = field.find_first_not_of(' ');
      fields.push_back(first == std::string::npos ? "" : field.substr(first, field.find_last_not_of(' ') + 1 - first));
    }
    ASSERT_EQ(fields.size(), 4U) << line;
    SCOPED_TRACE(fields[0]);
    card().reset();
    storeConfigurations({"7"}, "ops@example.com",
                        "name { value: \"Office\" } upsEventTable { warning { subscribed { value: true } } }");
    fs::remove_all(kOutboxDirectory);
    fs::remove(record + ".sent");
    fs::remove_all(CallLock::path());
    unsetenv("HARDENING_FAULT");
    std::int64_t bootStart = 1000;
    clock.id = "boot-1";
    std::istringstream steps(fields[1]);
    for (std::string step; std::getline(steps, step, ';');) {
      std::istringstream words(step);
      std::string when;
      std::string what;
      std::string code;
      words >> when >> what >> code;
      int const second = secondOf(when, hold);
      clock.wall = 1795000000 + second;
      clock.boot = bootStart + second;
      if (what == "active" || what == "cleared") {
        std::int32_t const level = code == "1A" ? EventLevel::Critical : EventLevel::Warning;
        ErrorCode const result =
            manageEmails(EmailEvent{EventType::Ups, "2026-11-25 10:00:00", level, code, what == "active", code});
        EXPECT_TRUE(result == ErrorCode::Success || getenv("HARDENING_FAULT") != nullptr) << step;
      } else if (what == "retry") {
        Outbox::retry();
      } else if (what == "unlock") {
        fs::remove(CallLock::path());
        fs::create_directory(CallLock::path());
      } else if (what == "down" || what == "up") {
        what == "down" ? setenv("HARDENING_FAULT", "refuse", 1) : unsetenv("HARDENING_FAULT");
      } else {
        ASSERT_EQ(what, "reboot");
        clock.id = "boot-2";  // the boot clock starts again
        bootStart = -second;
        clock.boot = 0;
      }
    }
    EXPECT_EQ(mailedAlarms(fileExists(record + ".sent") ? readFile(record + ".sent") : ""), fields[2]);
    auto const entries = outboxEntries();
    EXPECT_EQ(std::count_if(entries.begin(), entries.end(),
                            [](std::string const& entry) {
                              return entry.find("47: Alarm C0DE was active for ") == 0 &&
                                     entry.find(" s and was not emailed to Office configuration") != std::string::npos;
                            }),
              std::stoi(fields[3]));
    EXPECT_TRUE(Outbox::list().empty() || !fields[2].empty()) << "a held e-mail outlived its alarm";
  }
}

}  // namespace
}  // namespace emailservice::testing
