// Whether a kind sends at all, and what it returns: the level subscription of the alarm and
// system event kinds, events whose level has no entry, and a mail command that reports failure.
#include "KindsFixture.h"

namespace emailservice::testing {
namespace {

struct NotSentCase {
  char const* name;
  Kind kind;
  std::int32_t eventType;
  std::int32_t level;
  bool levelEntrySubscribed;  // the entry of levels 1 to 3; the other entries are all subscribed
};

void PrintTo(NotSentCase const& c, std::ostream* os) { *os << c.name; }

NotSentCase const kNotSentCases[] = {
    {"AlarmOfUnsubscribedCriticalLevel", Kind::Alarm, EventType::Ups, 1, false},
    {"AlarmOfUnsubscribedWarningLevel", Kind::Alarm, EventType::Ups, 2, false},
    {"AlarmOfUnsubscribedInformationalLevel", Kind::Alarm, EventType::Ups, 3, false},
    {"AlarmOfLevelZero", Kind::Alarm, EventType::Ups, 0, true},
    {"AlarmOfLevelFour", Kind::Alarm, EventType::Ups, 4, true},
    {"AlarmOfNegativeLevel", Kind::Alarm, EventType::Ups, -1, true},
    {"SystemEventOfUnsubscribedWarningLevel", Kind::SystemEvent, EventType::Card, 2, false},
    {"SystemEventOfLevelZero", Kind::SystemEvent, EventType::Card, 0, true},
    {"SystemEventOfLevelFour", Kind::SystemEvent, EventType::Card, 4, true},
};

class NotSentTest : public KindsTest, public ::testing::WithParamInterface<NotSentCase> {};

TEST_P(NotSentTest, ReturnsSuccessWithoutComposingOrRunningAnything) {
  NotSentCase const& c = GetParam();
  Flags const everything{true, true, true, true};
  setFlags(*table.mutable_critical(), everything);
  setFlags(*table.mutable_warning(), everything);
  setFlags(*table.mutable_informational(), everything);
  if (!c.levelEntrySubscribed) {
    auto* entry = c.level == 1   ? table.mutable_critical()
                  : c.level == 2 ? table.mutable_warning()
                                 : table.mutable_informational();
    entry->mutable_subscribed()->set_value(false);
  }
  EmailEvent const event{c.eventType, "2024-05-01 13:07:42", c.level, "1A2B", 1, "Battery low"};
  auto email = makeKind(c.kind, event);

  EXPECT_EQ(email->manageEmail("ops"), ErrorCode::Success);

  EXPECT_TRUE(recordedCommands().empty());
  EXPECT_FALSE(fileExists(bodyFile));
  EXPECT_TRUE(alarmExport.calls.empty());
  EXPECT_TRUE(systemLogs.calls.empty());
  EXPECT_FALSE(fileExists(work("ups.csv")));
  EXPECT_EQ(email->getSubject(), "");
  EXPECT_EQ(email->getMessage(), "");
  EXPECT_EQ(email->getAttachments(), "");
}

INSTANTIATE_TEST_SUITE_P(Kinds, NotSentTest, ::testing::ValuesIn(kNotSentCases),
                         [](auto const& paramInfo) { return std::string(paramInfo.param.name); });

// An e-mail whose level has no entry attaches nothing, even when asked directly.
TEST_F(KindsTest, AlarmOfLevelOutsideTheTableAttachesNothing) {
  setFlags(*table.mutable_informational(), {true, true, true, true});
  EmailEvent const event{EventType::Ups, "2024-05-01 13:07:42", 4, "1A2B", 1, "Battery low"};
  auto email = makeKind(Kind::Alarm, event);

  email->attachLogFiles();

  EXPECT_EQ(email->getAttachments(), "");
  EXPECT_TRUE(alarmExport.calls.empty());
}

class SendFailureTest : public KindsTest, public ::testing::WithParamInterface<Kind> {};

TEST_P(SendFailureTest, ReturnsSendErrorWhenTheMailCommandCouldNotSend) {
  recordCommands("sendemail: connecting to relay\nsendemail: Could not send the message\n");
  setFlags(*table.mutable_critical(), {true, false, false, false});
  std::int32_t const type = GetParam() == Kind::SystemEvent ? EventType::Card : EventType::Ups;
  EmailEvent const event{type, "2024-05-01 13:07:42", 1, "1A2B", 1, "Battery low"};
  auto email = makeKind(GetParam(), event);

  EXPECT_EQ(email->manageEmail("ops"), ErrorCode::SendError);
  EXPECT_EQ(recordedShellCommands().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, SendFailureTest,
                         ::testing::Values(Kind::Alarm, Kind::SystemEvent, Kind::Exception, Kind::Test, Kind::Periodic),
                         [](auto const& paramInfo) { return std::string(kindName(paramInfo.param)); });

}  // namespace
}  // namespace emailservice::testing
