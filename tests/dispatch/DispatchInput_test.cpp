// Dispatch under unusual input and surroundings: the two host-address flags, unset attributes,
// malformed code lists, a missing work directory, a mail command that is missing or fails, and
// the release of the chosen kind.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "cdsapi/CdsAccessor.h"
#include "dispatch/DispatchCard.h"
#include "emailservice/EmailConfig.h"
#include "emailservice/EmailService.h"
#include "support/CardTest.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;

std::string const kWorkDirectory = paths::kWorkDirectory;

class DispatchInputTest : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    setUpNamedCard(card());
  }

  ErrorCode dispatch(dravo::proto::EmailConfiguration const& configuration, EmailEvent const& event,
                     bool hideIpAddress = false) {
    cdsapi::CdsAccessor accessor;
    EmailConfig emailConfig(accessor, event, configuration);
    return emailConfig.manageEmail(hideIpAddress);
  }
};

TEST_F(DispatchInputTest, HostLineIsHiddenWhenTheListOrTheConfigurationSaysSo) {
  struct Case {
    bool listHides;
    bool configurationHides;
    bool hostLineWritten;
  };
  Case const cases[] = {{false, false, true}, {false, true, false}, {true, false, false}, {true, true, false}};
  recordCommands();
  for (auto const& c : cases) {
    SCOPED_TRACE(::testing::Message() << "list " << c.listHides << ", configuration " << c.configurationHides);
    dravo::proto::EmailConfigurationList list;
    list.add_configurations();
    *list.add_configurations() = sendingConfiguration("1");
    list.mutable_configurations(1)->mutable_hideipaddress()->set_value(c.configurationHides);
    list.mutable_hideipaddress()->set_value(c.listHides);
    storeConfigurations(card(), list);
    cdsapi::CdsAccessor accessor;
    ASSERT_EQ(EmailService(accessor).manageEmails(makeEvent(EventType::Test, "1")), ErrorCode::TestEmailSucceeded);
    std::string const body = readFile(kWorkDirectory + "1test.txt");
    ASSERT_NE(body.find("MAC address: "), std::string::npos);
    EXPECT_EQ(body.find("Host address: https://192.0.2.7\n") != std::string::npos, c.hostLineWritten);
  }
}

TEST_F(DispatchInputTest, ConfigurationWithNothingSetOnlyAnswersATestForTheEmptyId) {
  dravo::proto::EmailConfiguration const unset;
  recordCommands();
  for (std::int32_t type : {EventType::Periodic, EventType::Card, EventType::Ups, 7}) {
    EXPECT_EQ(dispatch(unset, makeEvent(type, "2A01")), ErrorCode::Success) << "type " << type;
  }
  EXPECT_TRUE(recordedShellCommands().empty());

  EXPECT_EQ(dispatch(unset, makeEvent(EventType::Test, "")), ErrorCode::TestEmailSucceeded);
  auto const sent = recordedShellCommands();
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(subjectOf(sent[0]), "UPS-A - Test email");
  EXPECT_EQ(recipientsOf(sent[0]), "");
  EXPECT_EQ(bodyFileOf(sent[0]), kWorkDirectory + "test.txt");
}

TEST_F(DispatchInputTest, MalformedCodeListsReportAndNeitherExcludeNorMakeAnException) {
  auto configuration = sendingConfiguration("3");
  configuration.mutable_excludedevents()->set_value("zz,2A01");
  configuration.mutable_exceptionevents()->set_value("2A00,,2A01");
  recordCommands();
  ::testing::internal::CaptureStdout();
  ErrorCode const result = dispatch(configuration, makeEvent(EventType::Ups, "2A01"));
  std::string const printed = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(result, ErrorCode::Success);
  EXPECT_EQ(printed, "isExceptionEvent exception: stoi2A01\nisExceptionEvent exception: stoi2A01\n");
  auto const sent = recordedShellCommands();
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(subjectOf(sent[0]), "UPS-A - Alarm - Active - Critical - On battery");
}

TEST_F(DispatchInputTest, CardConditionsAreTestedInOrderUpToTheFirstThatFails) {
  // A malformed excluded entry prints when, and only when, its test is reached.
  struct Case {
    bool eventNotification;
    char const* code;
    char const* printed;
    bool sent;
  };
  Case const cases[] = {
      {false, "C00001", "", false},                                         // notifications off: nothing tested
      {true, "C00001", "isExceptionEvent exception: stoiC00001\n", false},  // excluded list, then the e-mail event
      {true, "1A", "isExceptionEvent exception: stoi1A\n", true},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.code);
    auto configuration = sendingConfiguration("3");
    configuration.mutable_eventnotification()->set_value(c.eventNotification);
    configuration.mutable_excludedevents()->set_value("zz");
    recordCommands();
    std::size_t const before = recordedShellCommands().size();
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(dispatch(configuration, makeEvent(EventType::Card, c.code)), ErrorCode::Success);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), c.printed);
    EXPECT_EQ(recordedShellCommands().size() - before, c.sent ? 1U : 0U);
  }
}

TEST_F(DispatchInputTest, MissingWorkDirectoryStillSubmitsWithoutABody) {
  fs::remove_all(kWorkDirectory);
  recordCommands();
  EXPECT_EQ(dispatch(sendingConfiguration("3"), makeEvent(EventType::Test, "3")), ErrorCode::TestEmailSucceeded);
  auto const sent = recordedShellCommands();
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(bodyFileOf(sent[0]), kWorkDirectory + "3test.txt");
  EXPECT_FALSE(fs::exists(kWorkDirectory)) << "the library never creates its work directory";
}

TEST_F(DispatchInputTest, ChosenKindIsReleasedBeforeDispatchReturns) {
  // The alarm's UPS measure export belongs to the kind and disappears with it.
  writeFile(std::string(paths::kUpsMeasuresDirectory) + "/records.csv", "time,load\n1714568862,40\n");
  auto configuration = sendingConfiguration("3");
  configuration.mutable_upseventtable()->mutable_critical()->mutable_measurelogselected()->set_value(true);
  std::string const export_ = kWorkDirectory + "ups.csv";
  bool existedWhileSending = false;
  card().setCommandHook([&](std::vector<std::string> const& args, std::string const&, std::string&) {
    if (args[0] == "/bin/sh") {
      existedWhileSending = fs::exists(export_);
    }
    return 0;
  });
  EmailEvent const event = makeEvent(EventType::Ups, "2A01");
  cdsapi::CdsAccessor accessor;
  EmailConfig emailConfig(accessor, event, configuration);
  EXPECT_EQ(emailConfig.manageEmail(false), ErrorCode::Success);
  EXPECT_TRUE(existedWhileSending);
  EXPECT_FALSE(fs::exists(export_)) << "the kind outlived its dispatch";
}

TEST_F(DispatchInputTest, DataStoreFailureWhileComposingPassesToTheCaller) {
  card().setFault("getDeviceFriendlyName");
  recordCommands();
  EXPECT_THROW(dispatch(sendingConfiguration("3"), makeEvent(EventType::Test, "3")), std::exception);
  EXPECT_TRUE(recordedShellCommands().empty());
}

// The real mail command line, run through the shell and the sudo stand-in, with a sendemail of
// the test's own making first on the PATH (or none at all).
class MailCommandTest : public DispatchInputTest {
 protected:
  void SetUp() override {
    DispatchInputTest::SetUp();
    savedPath = std::getenv("PATH");
    binDirectory = kWorkDirectory + "../mail-command-test-bin/";
    fs::remove_all(binDirectory);
    fs::create_directories(binDirectory);
  }
  void TearDown() override {
    setenv("PATH", savedPath.c_str(), 1);
    fs::remove_all(binDirectory);
    DispatchInputTest::TearDown();
  }

  // A sendemail that prints `output` and exits with `status`.
  void useSendemail(std::string const& output, int status) {
    writeFile(binDirectory + "sendemail",
              "#!/bin/sh\ncat >/dev/null\nprintf '%s' '" + output + "'\nexit " + std::to_string(status) + "\n");
    fs::permissions(binDirectory + "sendemail", fs::perms::owner_all);
    setenv("PATH", (binDirectory + ":" + SIMCARD_BIN_DIR + ":" + savedPath).c_str(), 1);
  }

  // Only the card's sudo and log script, no sendemail.
  void removeSendemail() {
    fs::create_symlink(std::string(SIMCARD_BIN_DIR) + "/sudo", binDirectory + "sudo");
    fs::create_symlink(std::string(SIMCARD_BIN_DIR) + "/tailLogFiles.sh", binDirectory + "tailLogFiles.sh");
    setenv("PATH", (binDirectory + ":/usr/bin:/bin").c_str(), 1);
  }

  std::string savedPath;
  std::string binDirectory;
};

TEST_F(MailCommandTest, SendemailReportingFailureGivesTheKindsFailureCode) {
  useSendemail("sendemail: Could not send the message\n", 1);
  EXPECT_EQ(dispatch(sendingConfiguration("3"), makeEvent(EventType::Test, "3")), ErrorCode::TestEmailFailed);
  EXPECT_EQ(dispatch(sendingConfiguration("3"), makeEvent(EventType::Ups, "2A01")), ErrorCode::SendError);
}

TEST_F(MailCommandTest, SendemailFailingSilentlyCountsAsSent) {
  useSendemail("", 1);
  EXPECT_EQ(dispatch(sendingConfiguration("3"), makeEvent(EventType::Test, "3")), ErrorCode::TestEmailSucceeded);
  EXPECT_EQ(dispatch(sendingConfiguration("3"), makeEvent(EventType::Ups, "2A01")), ErrorCode::Success);
}

TEST_F(MailCommandTest, MissingSendemailCountsAsSent) {
  removeSendemail();
  EXPECT_EQ(dispatch(sendingConfiguration("3"), makeEvent(EventType::Test, "3")), ErrorCode::TestEmailSucceeded);
  EXPECT_EQ(dispatch(sendingConfiguration("3"), makeEvent(EventType::Card, "1A")), ErrorCode::Success);
}

}  // namespace
}  // namespace emailservice::testing
