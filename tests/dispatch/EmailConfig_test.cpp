#include "emailservice/EmailConfig.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "cdsapi/CdsAccessor.h"
#include "dravo_config.pb.h"
#include "support/CardTest.h"

namespace emailservice::testing {
namespace {

class EmailConfigTest : public CardTest {
 protected:
  EmailEvent eventWithCode(std::string code) const {
    return EmailEvent{EventType::Ups, "2024-01-02 03:04:05", EventLevel::Critical, std::move(code), 1, "On battery"};
  }

  cdsapi::CdsAccessor accessor;
  dravo::proto::EmailConfiguration configuration;
};

TEST_F(EmailConfigTest, CodeListsAreSplitAtEveryCommaAsWritten) {
  struct Case {
    char const* text;
    std::vector<std::string> codes;
  };
  std::vector<Case> const cases = {
      {"", {}},
      {"1A", {"1A"}},
      {"10,zz, 30", {"10", "zz", " 30"}},
      {"10,,20,", {"10", "", "20", ""}},
  };
  for (auto const& c : cases) {
    configuration.mutable_exceptionevents()->set_value(c.text);
    configuration.mutable_excludedevents()->set_value(std::string(c.text) + ",FF");
    EmailEvent const event = eventWithCode("1A");
    EmailConfig const config(accessor, event, configuration);
    EXPECT_EQ(config.getExceptionEventCodes(), c.codes) << '"' << c.text << '"';
    auto excluded = c.codes;
    if (std::string(c.text).empty()) {
      excluded = {""};  // ",FF" starts with an empty entry
    }
    excluded.push_back("FF");
    EXPECT_EQ(config.getExcludedEventCodes(), excluded) << '"' << c.text << '"';
  }
}

TEST_F(EmailConfigTest, UnsetCodeListsAndRecipientsReadEmpty) {
  EmailEvent const event = eventWithCode("1A");
  EmailConfig config(accessor, event, configuration);
  EXPECT_TRUE(config.getExceptionEventCodes().empty());
  EXPECT_TRUE(config.getExcludedEventCodes().empty());
  config.setRecipients();
  EXPECT_EQ(config.getRecipients(), "");
}

TEST_F(EmailConfigTest, SetRecipientsReplacesTheTextEachTime) {
  configuration.mutable_recipients()->set_value("a@example.net, b@example.net");
  EmailEvent const event = eventWithCode("1A");
  EmailConfig config(accessor, event, configuration);
  EXPECT_EQ(config.getRecipients(), "") << "empty until set";
  config.setRecipients();
  config.setRecipients();
  EXPECT_EQ(config.getRecipients(), "a@example.net, b@example.net");
  configuration.mutable_recipients()->set_value("c@example.net");
  config.setRecipients();
  EXPECT_EQ(config.getRecipients(), "c@example.net");
}

TEST_F(EmailConfigTest, EmailEventNeedsBothBits22And23) {
  struct Case {
    char const* code;
    bool emailEvent;
    char const* printed;
  };
  Case const cases[] = {
      {"C12345", true, ""},
      {"c00000", true, ""},
      {"0xC00000", true, ""},
      {"FFFFFF", true, ""},
      {"7FFFFFFF", true, ""},
      {"812345", false, ""},
      {"412345", false, ""},
      {"3FFFFF", false, ""},
      {"-1A", true, ""},
      {"  C00000", true, ""},
      {"C00000zz", true, ""},
      {"0", false, ""},
      {"zz", false, "isEmailEvent exception: stoizz\n"},
      {"", false, "isEmailEvent exception: stoi\n"},
      {"80000000", false, "isEmailEvent exception: stoi80000000\n"},
      {"-80000001", false, "isEmailEvent exception: stoi-80000001\n"},
  };
  for (auto const& c : cases) {
    EmailEvent const event = eventWithCode(c.code);
    EmailConfig const config(accessor, event, configuration);
    ::testing::internal::CaptureStdout();
    bool const answer = config.isEmailEvent();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), c.printed) << c.code;
    EXPECT_EQ(answer, c.emailEvent) << c.code;
  }
}

TEST_F(EmailConfigTest, ExceptionEventComparesValuesAndStopsAtTheFirstMalformedEntry) {
  struct Case {
    char const* eventCode;
    char const* exceptionEvents;
    bool exception;
    char const* printed;
  };
  Case const cases[] = {
      {"1A", "1a", true, ""},
      {"1A", "10,001A", true, ""},
      {"1A", "0x1A", true, ""},
      {"1A", "0X1a", true, ""},
      {"00000020", "0x20, 30", true, ""},
      {"30", "0x20, 30", true, ""},
      {"1A", "10,20", false, ""},
      {"1A", "", false, ""},
      {"20", "10,20,zz", true, ""},
      {"20", "10,zz,20", false, "isExceptionEvent exception: stoi20\n"},
      {"20", "10,,20", false, "isExceptionEvent exception: stoi20\n"},
      {"20", "10,FFFFFFFF", false, "isExceptionEvent exception: stoi20\n"},
      {"zz", "10", false, "isExceptionEvent exception: stoizz\n"},
      {"zz", "", false, "isExceptionEvent exception: stoizz\n"},
      {"80000000", "80000000", false, "isExceptionEvent exception: stoi80000000\n"},
      {"-1", "-0x1", true, ""},
  };
  for (auto const& c : cases) {
    configuration.mutable_exceptionevents()->set_value(c.exceptionEvents);
    EmailEvent const event = eventWithCode(c.eventCode);
    EmailConfig const config(accessor, event, configuration);
    ::testing::internal::CaptureStdout();
    bool const answer = config.isExceptionEvent(config.getExceptionEventCodes());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), c.printed) << c.eventCode << " in " << c.exceptionEvents;
    EXPECT_EQ(answer, c.exception) << c.eventCode << " in " << c.exceptionEvents;
  }
}

TEST_F(EmailConfigTest, ExceptionEventTestsTheListItIsGiven) {
  configuration.mutable_exceptionevents()->set_value("10");
  configuration.mutable_excludedevents()->set_value("20");
  EmailEvent const event = eventWithCode("20");
  EmailConfig const config(accessor, event, configuration);
  EXPECT_FALSE(config.isExceptionEvent(config.getExceptionEventCodes()));
  EXPECT_TRUE(config.isExceptionEvent(config.getExcludedEventCodes()));
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(config.isExceptionEvent({"zz0", "20"}));
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "isExceptionEvent exception: stoi20\n");
}

TEST_F(EmailConfigTest, LogErrorWritesOneEntryPerReportedOutcome) {
  struct Case {
    ErrorCode code;
    char const* name;  // null: the configuration has no name
    int eventId;
    int severity;
    char const* message;
  };
  Case const cases[] = {
      {ErrorCode::SendError, "Office", 8, 4, "Error sending email for Office configuration"},
      {ErrorCode::TestEmailFailed, "Office", 8, 4, "Test email failed for Office configuration"},
      {ErrorCode::TestEmailSucceeded, "Office", 12, 6, "Test email succeded for Office configuration"},
      {ErrorCode::SendError, nullptr, 8, 4, "Error sending email for  configuration"},
      {ErrorCode::TestEmailSucceeded, "", 12, 6, "Test email succeded for  configuration"},
  };
  for (auto const& c : cases) {
    card().reset();
    configuration.Clear();
    if (c.name != nullptr) {
      configuration.mutable_name()->set_value(c.name);
    }
    EmailEvent const event = eventWithCode("1A");
    EmailConfig config(accessor, event, configuration);
    config.logError(c.code);
    auto const& log = card().cardLog();
    ASSERT_EQ(log.size(), 1U) << c.message;
    EXPECT_EQ(log[0].category, 12);
    EXPECT_EQ(log[0].eventId, c.eventId) << c.message;
    EXPECT_EQ(log[0].deviceId, 0);
    EXPECT_EQ(log[0].severity, c.severity) << c.message;
    EXPECT_EQ(log[0].source, "");
    EXPECT_EQ(log[0].channelId, 0);
    EXPECT_EQ(log[0].message, c.message);
  }
}

TEST_F(EmailConfigTest, LogErrorWritesNothingForSuccessOrAnUnknownCode) {
  configuration.mutable_name()->set_value("Office");
  EmailEvent const event = eventWithCode("1A");
  EmailConfig config(accessor, event, configuration);
  config.logError(ErrorCode::Success);
  config.logError(static_cast<ErrorCode>(7));
  config.logError(static_cast<ErrorCode>(-3));
  EXPECT_TRUE(card().cardLog().empty());
}

TEST_F(EmailConfigTest, LogErrorLetsAStoreFailureThrough) {
  configuration.mutable_name()->set_value("Office");
  EmailEvent const event = eventWithCode("1A");
  EmailConfig config(accessor, event, configuration);
  card().setFault("logMessage");
  EXPECT_THROW(config.logError(ErrorCode::SendError), std::runtime_error);
  EXPECT_TRUE(card().cardLog().empty());
}

}  // namespace
}  // namespace emailservice::testing
