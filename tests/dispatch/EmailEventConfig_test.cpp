// The subscription and log selection answers of the three kinds of EmailEventConfig.
#include <gtest/gtest.h>

#include <memory>

#include "dispatch/EmailCardEventConfig.h"
#include "dispatch/EmailEventConfig.h"
#include "dispatch/EmailUpsdEventConfig.h"
#include "dravo_config.pb.h"

namespace emailservice {
namespace {

enum class Answer { Base, Card, Upsd };

struct EntryFlags {
  bool set;  // false: the entry has no attribute at all
  bool subscribed;
  bool systemLog;
  bool alarmLog;
  bool measureLog;
};

struct SelectionCase {
  char const* name;
  Answer answer;
  std::int32_t eventType;
  EntryFlags entry;
  bool subscribed;
  bool defaultLog;
  bool measureLog;
};

void PrintTo(SelectionCase const& c, std::ostream* os) { *os << c.name; }

constexpr std::int32_t kUnknownType = 9;
constexpr EntryFlags kAll{true, true, true, true, true};
constexpr EntryFlags kUnset{false, false, false, false, false};

SelectionCase const kSelectionCases[] = {
    {"BaseCardEventUsesSystemLogOnly",
     Answer::Base,
     EventType::Card,
     {true, true, false, true, true},
     true,
     false,
     false},
    {"BaseCardEventWithSystemLog",
     Answer::Base,
     EventType::Card,
     {true, false, true, false, false},
     false,
     true,
     false},
    {"BaseUpsEventIgnoresSystemLog",
     Answer::Base,
     EventType::Ups,
     {true, true, true, false, false},
     true,
     false,
     false},
    {"BaseUpsEventWithAlarmLogAndMeasures",
     Answer::Base,
     EventType::Ups,
     {true, true, false, true, true},
     true,
     true,
     true},
    {"BaseUpsEventWithMeasuresOnly",
     Answer::Base,
     EventType::Ups,
     {true, false, false, false, true},
     false,
     false,
     true},
    {"BaseTestEventSelectsNoLog", Answer::Base, EventType::Test, kAll, true, false, false},
    {"BasePeriodicEventSelectsNoLog", Answer::Base, EventType::Periodic, kAll, true, false, false},
    {"BaseUnknownTypeSelectsNoLog", Answer::Base, kUnknownType, kAll, true, false, false},
    {"BaseUnsetEntry", Answer::Base, EventType::Ups, kUnset, false, false, false},
    {"CardPeriodicFollowsSystemLog",
     Answer::Card,
     EventType::Periodic,
     {true, true, true, false, false},
     true,
     true,
     false},
    {"CardPeriodicIgnoresAlarmLogAndMeasures",
     Answer::Card,
     EventType::Periodic,
     {true, true, false, true, true},
     true,
     false,
     false},
    {"CardUpsEventKeepsTheBaseMeasureAnswer",
     Answer::Card,
     EventType::Ups,
     {true, false, false, false, true},
     false,
     false,
     true},
    {"CardUnsetEntry", Answer::Card, EventType::Periodic, kUnset, false, false, false},
    {"UpsdPeriodicFollowsAlarmLogAndMeasures",
     Answer::Upsd,
     EventType::Periodic,
     {true, true, false, true, true},
     true,
     true,
     true},
    {"UpsdPeriodicIgnoresSystemLog",
     Answer::Upsd,
     EventType::Periodic,
     {true, false, true, false, false},
     false,
     false,
     false},
    {"UpsdCardEventStillFollowsTheEntry",
     Answer::Upsd,
     EventType::Card,
     {true, true, false, false, true},
     true,
     false,
     true},
    {"UpsdUnsetEntry", Answer::Upsd, EventType::Periodic, kUnset, false, false, false},
};

std::unique_ptr<EmailEventConfig> makeAnswer(Answer answer, EmailEvent const& event,
                                             dravo::proto::EventConfiguration const& entry) {
  switch (answer) {
    case Answer::Base:
      return std::make_unique<EmailEventConfig>(event, entry);
    case Answer::Card:
      return std::make_unique<EmailCardEventConfig>(event, entry);
    case Answer::Upsd:
      return std::make_unique<EmailUpsdEventConfig>(event, entry);
  }
  return nullptr;
}

class EmailEventConfigTest : public ::testing::TestWithParam<SelectionCase> {};

TEST_P(EmailEventConfigTest, AnswersFromTheEntryAndTheEventType) {
  SelectionCase const& c = GetParam();
  dravo::proto::EventConfiguration entry;
  if (c.entry.set) {
    entry.mutable_subscribed()->set_value(c.entry.subscribed);
    entry.mutable_systemlogselected()->set_value(c.entry.systemLog);
    entry.mutable_alarmlogselected()->set_value(c.entry.alarmLog);
    entry.mutable_measurelogselected()->set_value(c.entry.measureLog);
  }
  EmailEvent const event{c.eventType, "2024-05-01 13:07:42", 1, "1A2B", 1, "Battery low"};

  auto const answers = makeAnswer(c.answer, event, entry);

  EXPECT_EQ(answers->isSubscribed(), c.subscribed);
  EXPECT_EQ(answers->isDefaultLogSelected(), c.defaultLog);
  EXPECT_EQ(answers->isMeasureLogSelected(), c.measureLog);
}

INSTANTIATE_TEST_SUITE_P(Selections, EmailEventConfigTest, ::testing::ValuesIn(kSelectionCases),
                         [](auto const& paramInfo) { return std::string(paramInfo.param.name); });

}  // namespace
}  // namespace emailservice
