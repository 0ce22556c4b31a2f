// The whole call under bad input: huge and empty configurations, oversized and malformed texts, a
// missing or unusable work directory, a mail command that floods its output, and a data store
// that fails in the middle of an e-mail.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "WholeCall.h"
#include "support/CardTest.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;

std::string const& workDirectory() {
  static std::string const directory = paths::kWorkDirectory;
  return directory;
}

long peakResidentKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

std::string bigText(std::size_t size, std::string const& pattern) {
  std::string text;
  while (text.size() < size) {
    text += pattern;
  }
  text.resize(size);
  return text;
}

class BadInputTest : public CardTest {};

TEST_F(BadInputTest, TenThousandConfigurationsAreAllServedInOneCall) {
  std::vector<dravo::proto::EmailConfiguration> configurations;
  configurations.reserve(10000);
  for (int i = 0; i < 10000; ++i) {
    configurations.push_back(alarmConfiguration(std::to_string(i), "ops" + std::to_string(i) + "@example.com"));
  }
  storeConfigurations(configurations);
  recordCommands();

  long const memoryBefore = peakResidentKilobytes();
  auto const start = std::chrono::steady_clock::now();
  ErrorCode const result = manageEmails(criticalUpsAlarm("On battery"));
  auto const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  long const memoryAfter = peakResidentKilobytes();

  EXPECT_EQ(result, ErrorCode::Success);
  auto const mails = recordedShellCommands();
  ASSERT_EQ(mails.size(), 10000U);
  EXPECT_NE(mails.back().find("-- ops9999@example.com < " + workDirectory() + "9999ups.txt"), std::string::npos);
  std::cout << "10000 configurations: " << seconds << " s, peak resident memory " << memoryBefore << " kB before, "
            << memoryAfter << " kB after\n";
  RecordProperty("seconds", std::to_string(seconds));
  RecordProperty("peakKilobytes", std::to_string(memoryAfter));
}

TEST_F(BadInputTest, ATestAddressedToTheLastOfTenThousandConfigurationsIsTheOnlyOneSent) {
  std::vector<dravo::proto::EmailConfiguration> configurations;
  configurations.reserve(10000);
  for (int i = 0; i < 10000; ++i) {
    configurations.push_back(alarmConfiguration(std::to_string(i), "ops@example.com"));
  }
  storeConfigurations(configurations);
  recordCommands();

  EXPECT_EQ(manageEmails(EmailEvent{EventType::Test, "", 1, "9999", 1, ""}), ErrorCode::TestEmailSucceeded);
  auto const mails = recordedShellCommands();
  ASSERT_EQ(mails.size(), 1U);
  EXPECT_NE(mails[0].find("< " + workDirectory() + "9999test.txt"), std::string::npos);
}

// Entries whose every attribute is unset (tables and periodic settings included) but for
// `enabled`: only events addressed to the empty id send, and they go out complete.
TEST_F(BadInputTest, EntriesWithEveryAttributeUnsetAnswerEveryEventType) {
  struct Case {
    std::int32_t type;
    ErrorCode result;
    std::size_t mails;
    std::string workFile;
  };
  std::vector<Case> const cases = {
      {EventType::Periodic, ErrorCode::TestEmailSucceeded, 1, workDirectory() + "report.txt"},
      {EventType::Card, ErrorCode::Success, 0, ""},
      {EventType::Ups, ErrorCode::Success, 0, ""},
      {EventType::Test, ErrorCode::TestEmailSucceeded, 1, workDirectory() + "test.txt"},
      {7, ErrorCode::Success, 0, ""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE("event type " + std::to_string(c.type));
    card().reset();
    dravo::proto::EmailConfiguration bare;
    bare.mutable_enabled()->set_value(true);
    storeConfigurations({bare, dravo::proto::EmailConfiguration()});
    recordCommands();
    std::size_t const before = recordedShellCommands().size();

    EXPECT_EQ(manageEmails(EmailEvent{c.type, "", 0, "", 0, ""}), c.result);

    auto const mails = recordedShellCommands();
    ASSERT_EQ(mails.size() - before, c.mails);
    if (c.mails == 1) {
      EXPECT_NE(mails.back().find(" --  < " + c.workFile), std::string::npos) << mails.back();
      EXPECT_FALSE(readFile(c.workFile).empty());
    }
  }
}

TEST_F(BadInputTest, AListWithoutEntriesOrWithoutAnyAttributeSendsNothing) {
  recordCommands();
  EXPECT_EQ(manageEmails(criticalUpsAlarm("On battery")), ErrorCode::Success);
  card().setRecord("EMAIL_CONFIGURATION", dravo::proto::toolkitStruct());
  recordCommands();
  EXPECT_EQ(manageEmails(EmailEvent{EventType::Test, "", 1, "", 1, ""}), ErrorCode::Success);
  EXPECT_TRUE(recordedShellCommands().empty());
}

TEST_F(BadInputTest, MebibyteRecipientsAndDescriptionReachTheCommandWhole) {
  std::string const recipients = bigText(1 << 20, "ops@example.com ");
  std::string const description = bigText(1 << 20, "overload ");
  storeConfigurations({alarmConfiguration("7", recipients)});
  card().device(1).set_friendlyname("UPS-A");
  recordCommands();

  EXPECT_EQ(manageEmails(criticalUpsAlarm(description)), ErrorCode::Success);

  auto const mails = recordedShellCommands();
  ASSERT_EQ(mails.size(), 1U);
  std::string const expectedEnd = "\" -- " + recipients + " < " + workDirectory() + "7ups.txt";
  ASSERT_GE(mails[0].size(), expectedEnd.size());
  EXPECT_EQ(mails[0].substr(mails[0].size() - expectedEnd.size()), expectedEnd);
  EXPECT_NE(mails[0].find("UPS-A - Alarm - Active - Critical - " + description + "\""), std::string::npos);
  EXPECT_NE(readFile(workDirectory() + "7ups.txt").find(description), std::string::npos);
}

// Linux takes at most 128 KiB in one program argument: a command text that long cannot start,
// which the submission reports as a failed sending.
TEST_F(BadInputTest, ACommandTooLongForTheSystemIsAFailedSending) {
  storeConfigurations({alarmConfiguration("7", bigText(1 << 20, "ops@example.com "))});

  EXPECT_EQ(manageEmails(criticalUpsAlarm("On battery")), ErrorCode::SendError);
}

TEST_F(BadInputTest, NulBytesAndInvalidUtf8PassIntoBodyAndCommandUnchanged) {
  std::string const description = std::string("over") + '\0' + "load \xff\xfe\xc0\xaf end";
  std::string const recipients = std::string("ops@example.com") + '\0' + " \x80@example.com";
  storeConfigurations({alarmConfiguration("7", recipients)});
  card().device(1).set_friendlyname(std::string("UPS") + '\0' + "\xe2\x82");
  recordCommands();

  EXPECT_EQ(manageEmails(criticalUpsAlarm(description)), ErrorCode::Success);

  auto const mails = recordedShellCommands();
  ASSERT_EQ(mails.size(), 1U);
  EXPECT_NE(mails[0].find(description), std::string::npos);
  EXPECT_NE(mails[0].find(" -- " + recipients + " < "), std::string::npos);
  std::string const body = readFile(workDirectory() + "7ups.txt");
  EXPECT_NE(body.find(description), std::string::npos);
  EXPECT_NE(body.find(std::string("System name: UPS") + '\0' + "\xe2\x82\n"), std::string::npos);
}

// The work directory is missing, or a regular file stands in its place (which no one, root
// included, can create files in; plain permissions would not stop root, who runs these tests):
// the body cannot be written, the command still runs and its output alone decides.
TEST_F(BadInputTest, AnUnusableWorkDirectoryStillSubmitsAndCreatesNothing) {
  std::string const directory = fs::path(workDirectory()).parent_path().string();
  for (bool replacedByFile : {false, true}) {
    SCOPED_TRACE(replacedByFile ? "a file in place of the work directory" : "no work directory");
    card().reset();
    fs::remove_all(directory);
    if (replacedByFile) {
      writeFile(directory, "not a directory");
    }
    storeConfigurations({alarmConfiguration("7", "ops@example.com")});
    recordCommands();
    EXPECT_EQ(manageEmails(criticalUpsAlarm("On battery")), ErrorCode::Success);
    auto const mails = recordedShellCommands();
    ASSERT_FALSE(mails.empty());
    EXPECT_NE(mails.back().find("< " + workDirectory() + "7ups.txt"), std::string::npos);
    EXPECT_EQ(fs::exists(directory), replacedByFile);
    EXPECT_EQ(fs::is_regular_file(directory), replacedByFile);
    recordCommands("Could not send the message");
    EXPECT_EQ(manageEmails(criticalUpsAlarm("On battery")), ErrorCode::SendError);
  }
  fs::remove_all(directory);
  fs::create_directories(directory);
}

// The mail command prints 100 MiB before it reports its failure: the report is still found.
TEST_F(BadInputTest, AMailCommandThatFloodsItsOutputBeforeFailingIsAFailedSending) {
  fs::path const record = fs::temp_directory_path() / ("emailservice-flood-" + std::to_string(getpid()));
  char const* const path = std::getenv("PATH");
  std::string const previousPath = path != nullptr ? path : "";
  setenv("PATH", (std::string(EMAILSERVICE_SOURCE_DIR) + "/tests/hardening/bin:" + previousPath).c_str(), 1);
  setenv("HARDENING_RECORD", record.c_str(), 1);
  setenv("HARDENING_FLOOD", std::to_string(100 << 20).c_str(), 1);
  storeConfigurations({alarmConfiguration("7", "ops@example.com")});

  auto const start = std::chrono::steady_clock::now();
  ErrorCode const result = manageEmails(criticalUpsAlarm("On battery"));
  auto const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  setenv("PATH", previousPath.c_str(), 1);
  unsetenv("HARDENING_RECORD");
  unsetenv("HARDENING_FLOOD");
  std::error_code ignored;
  fs::remove(record, ignored);
  fs::remove(record.string() + ".body", ignored);
  EXPECT_EQ(result, ErrorCode::SendError);
  std::cout << "100 MiB of output: " << seconds << " s, peak resident memory " << peakResidentKilobytes() << " kB\n";
}

// A data store failure at any point of an e-mail (subject, banner, body, alarm lists) reaches the
// caller as the store's exception; the next call works normally (and the sanitizer and memcheck
// runs find nothing left behind).
TEST_F(BadInputTest, ADataStoreFailureInTheMiddleOfAnEmailReachesTheCaller) {
  struct Case {
    std::string operation;
    std::int32_t eventType;
    unsigned int call;  // the call that fails: later ones fall in the second e-mail
  };
  std::vector<Case> const cases = {
      {"getDeviceFriendlyName", EventType::Ups, 1},
      {"getDeviceFriendlyName", EventType::Ups, 2},
      {"getDeviceFriendlyName", EventType::Ups, 3},
      {"getDeviceVendor", EventType::Ups, 1},
      {"getDeviceVendor", EventType::Ups, 2},
      {"getDeviceVendor", EventType::Ups, 3},
      {"getDeviceSerialNumber", EventType::Ups, 2},
      {"getChannelId", EventType::Ups, 1},
      {"getChannelCValue", EventType::Ups, 2},
      {"get", EventType::Ups, 2},
      {"getDeviceVendor", EventType::Periodic, 2},
      {"getActiveAlarmsFromDate", EventType::Periodic, 1},
      {"getClosedAlarmsFromDate", EventType::Periodic, 1},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.operation + " call " + std::to_string(c.call) + " event type " + std::to_string(c.eventType));
    card().reset();
    storeConfigurations({alarmConfiguration("7", "ops@example.com"), alarmConfiguration("8", "noc@example.com")});
    auto* channel = card().state().add_channels();
    channel->set_id(7);
    channel->set_device(20);
    channel->set_name("PowerDistribution.Attribute.PartNumber");
    channel->set_value("PN-20");
    card().state().add_alarms()->set_description("On battery");
    recordCommands();
    card().setFault(c.operation, c.call);
    EmailEvent const event{c.eventType, "", EventLevel::Critical, c.eventType == EventType::Periodic ? "8" : "1",
                           1,           "x"};

    EXPECT_THROW(manageEmails(event), std::runtime_error);

    card().setFault("");
    std::size_t const before = recordedShellCommands().size();
    EXPECT_EQ(manageEmails(criticalUpsAlarm("On battery")), ErrorCode::Success);
    EXPECT_EQ(recordedShellCommands().size() - before, 2U);
  }
}

}  // namespace
}  // namespace emailservice::testing
