// Hostile texts in the device name, the event description and the recipients, sent through the
// whole call and the real /bin/sh to a recording sendemail stand-in (tests/hardening/bin).
// This source is built twice: into hardening_tests against the default library, where it pins
// down what each value does, and into hardened_submission_tests against the library built with
// EMAILSERVICE_HARDENED_SUBMISSION, where every value must arrive as plain text.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CardPaths.h"
#include "HostileValues.h"
#include "WholeCall.h"
#include "dispatch/CallLock.h"
#include "email/ShellQuote.h"
#include "support/CardTest.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

enum class Place { DeviceName, Description, Recipients };

std::string placeName(Place place) {
  switch (place) {
    case Place::DeviceName:
      return "DeviceName";
    case Place::Description:
      return "Description";
    case Place::Recipients:
      return "Recipients";
  }
  return "?";
}

std::string withoutNul(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
  return text;
}

std::string withBackquotesAsQuotes(std::string text) {
  std::replace(text.begin(), text.end(), '`', '\'');
  return text;
}

std::vector<std::string> splitAtNul(std::string const& record) {
  std::vector<std::string> words;
  std::string::size_type begin = 0;
  while (begin < record.size()) {
    auto const end = record.find('\0', begin);
    words.push_back(record.substr(begin, end - begin));
    begin = end + 1;
  }
  return words;
}

std::string replaceMarker(std::string text, std::string const& marker) {
  for (auto at = text.find("@M@"); at != std::string::npos; at = text.find("@M@", at + marker.size())) {
    text.replace(at, 3, marker);
  }
  return text;
}

// What one run did.
struct Outcome {
  Effect effect;
  ErrorCode result;
  std::vector<std::string> words;     // as sendemail received them; empty when it did not run
  std::vector<std::string> intended;  // the words the values stand for
  std::string body;                   // what sendemail read on its standard input
};

class ShellInjectionTest : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    root = fs::temp_directory_path() / ("emailservice-hardening-" + std::to_string(getpid()));
    scratch = root / "cwd";
    recordFile = (root / "words").string();
    marker = (root / "marker").string();
    char const* const path = std::getenv("PATH");
    previousPath = path != nullptr ? path : "";
    std::string const stand_ins = std::string(EMAILSERVICE_SOURCE_DIR) + "/tests/hardening/bin";
    setenv("PATH", (stand_ins + ":" + SIMCARD_BIN_DIR + ":" + previousPath).c_str(), 1);
    setenv("HARDENING_RECORD", recordFile.c_str(), 1);
    previousDirectory = fs::current_path();
  }

  void TearDown() override {
    fs::current_path(previousDirectory);
    setenv("PATH", previousPath.c_str(), 1);
    unsetenv("HARDENING_RECORD");
    std::error_code ignored;
    fs::remove_all(root, ignored);
    CardTest::TearDown();
  }

  // An empty working directory holding one file for globs to find; no record, no marker.
  void freshRun() {
    fs::remove_all(root);
    fs::create_directories(scratch);
    writeFile((scratch / "glob-target").string(), "");
    fs::current_path(scratch);
  }

  bool wroteFiles() const {
    if (fileExists(marker)) {
      return true;
    }
    for (auto const& entry : fs::directory_iterator(scratch)) {
      if (entry.path().filename() != "glob-target") {
        return true;
      }
    }
    return false;
  }

  // Sends a critical UPS alarm with `value` (markers filled in) at `place`, ordinary text elsewhere.
  Outcome send(Place place, std::string const& rawValue) {
    freshRun();
    std::string const value = replaceMarker(rawValue, marker);
    std::string deviceName = "UPS-A";
    std::string description = "On battery";
    std::string recipients = "ops@example.com noc@example.com";
    (place == Place::DeviceName ? deviceName : place == Place::Description ? description : recipients) = value;

    card().device(1).set_friendlyname(deviceName);
    storeConfigurations({alarmConfiguration("7", recipients)});
    ErrorCode const result = manageEmails(criticalUpsAlarm(description));

    Outcome outcome{Effect::Harmless, result, {}, {}, {}};
    outcome.intended = {"-s", withBackquotesAsQuotes(withoutNul(activeCriticalAlarmSubject(deviceName, description))),
                        "--"};
    for (auto const& word : ShellQuote::splitAtBlanks(withoutNul(recipients))) {
      outcome.intended.push_back(word);
    }
    bool const sent = fileExists(recordFile);
    if (sent) {
      outcome.words = splitAtNul(readFile(recordFile));
      outcome.body = readFile(recordFile + ".body");
    }
    if (wroteFiles()) {
      outcome.effect = Effect::CommandRan;
    } else if (!sent) {
      outcome.effect = Effect::NotSent;
    } else if (outcome.words != outcome.intended) {
      outcome.effect = Effect::Altered;
    }
    return outcome;
  }

  static std::string workFile() { return std::string(paths::kWorkDirectory) + "7ups.txt"; }

  fs::path root;
  fs::path scratch;
  std::string recordFile;
  std::string marker;
  std::string previousPath;
  fs::path previousDirectory;
};

class HostileValueTest : public ShellInjectionTest, public ::testing::WithParamInterface<Place> {};

#ifdef EMAILSERVICE_HARDENED_SUBMISSION

TEST_P(HostileValueTest, ReachesSendemailAsPlainTextAndRunsNothing) {
  auto const values = hostileValues();
  ASSERT_GE(values.size(), 100U);
  for (auto const& hostile : values) {
    SCOPED_TRACE(hostile.name);
    Outcome const outcome = send(GetParam(), hostile.value);
    EXPECT_EQ(outcome.effect, Effect::Harmless) << effectName(outcome.effect);
    EXPECT_EQ(outcome.words, outcome.intended);
    EXPECT_EQ(outcome.result, ErrorCode::Success);
    EXPECT_EQ(outcome.body, readFile(workFile())) << "the body reaches sendemail from the work file";
  }
}

// A mail command that does not end with status 0, or not by its deadline, did not send; the call
// ends with it, and nothing it started outlives the call.
TEST_F(ShellInjectionTest, MailCommandThatFailsHangsOrLeavesAChildIsCountedAndEnded) {
  struct Case {
    std::string fault;  // of the sendemail stand-in; "no-body": the shell cannot open the body
    ErrorCode result;
  };
  Case const cases[] = {{"exit", ErrorCode::SendError},   {"kill", ErrorCode::SendError},
                        {"no-body", ErrorCode::SendError}, {"hang", ErrorCode::SendError},
                        {"orphan", ErrorCode::Success}};
  for (auto const& c : cases) {
    SCOPED_TRACE(c.fault);
    if (c.fault == "hang" && EMAILSERVICE_MAIL_DEADLINE_SECONDS > 10) {
      continue;  // a build with a long deadline
    }
    freshRun();
    setenv("HARDENING_FAULT", c.fault.c_str(), 1);
    storeConfigurations({alarmConfiguration("7", "ops@example.com")});
    if (c.fault == "no-body") {
      fs::remove_all(paths::kWorkDirectory);
    }
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(manageEmails(criticalUpsAlarm("On battery")), c.result);
    double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::cout << c.fault << ": the call took " << seconds << " s\n";
    EXPECT_LT(seconds, EMAILSERVICE_MAIL_DEADLINE_SECONDS + 5);
    if (c.fault == "hang" || c.fault == "orphan") {
      EXPECT_FALSE(processRuns(recordFile + ".pid"));
    }
    fs::create_directories(paths::kWorkDirectory);
  }
  unsetenv("HARDENING_FAULT");
}

// An id that is not a plain name would put the body work file outside the work directory, or name
// another file: such a configuration is not processed at all.
TEST_F(ShellInjectionTest, ConfigurationWhoseIdIsNotAPlainNameIsNotProcessed) {
  std::string const victim = std::string(paths::kWorkDirectory) + "../victim";
  for (std::string const& id : {""s, "."s, ".."s, "a/b"s, "../victim"s, "line\nfeed"s, "nul\0byte"s, "del\x7f"s}) {
    SCOPED_TRACE(id);
    freshRun();
    auto configuration = alarmConfiguration(id, "ops@example.com");
    configuration.mutable_exceptionevents()->set_value("1A");
    storeConfigurations({configuration});
    EXPECT_EQ(manageEmails(EmailEvent{7, "", EventLevel::Critical, "1A", 1, "x"}), ErrorCode::Success);
    for (std::int32_t type : {EventType::Test, EventType::Periodic}) {
      EXPECT_EQ(manageEmails(EmailEvent{type, "", 1, id, 1, ""}), ErrorCode::TestEmailFailed);
    }
    EXPECT_FALSE(fileExists(recordFile)) << "sendemail ran";
    EXPECT_FALSE(fileExists(victim));
  }
}

#else

TEST_P(HostileValueTest, HasTheDocumentedEffectInTheDefaultBuild) {
  auto const values = hostileValues();
  ASSERT_GE(values.size(), 100U);
  for (auto const& hostile : values) {
    SCOPED_TRACE(hostile.name);
    Outcome const outcome = send(GetParam(), hostile.value);
    Effect const documented = GetParam() == Place::Recipients ? hostile.inRecipients : hostile.inSubject;
    EXPECT_EQ(outcome.effect, documented)
        << "observed " << effectName(outcome.effect) << ", documented " << effectName(documented);
    std::cout << placeName(GetParam()) << " | " << hostile.name << " | " << effectName(outcome.effect) << "\n";
  }
}

#endif

INSTANTIATE_TEST_SUITE_P(Places, HostileValueTest,
                         ::testing::Values(Place::DeviceName, Place::Description, Place::Recipients),
                         [](::testing::TestParamInfo<Place> const& place) { return placeName(place.param); });

// Both builds must hand sendemail the same words for ordinary values, attachments included.
TEST_F(ShellInjectionTest, OrdinaryValuesReachSendemailAsTheExpectedWords) {
  freshRun();
  card().device(1).set_friendlyname("Room 2 UPS");
  auto configuration = alarmConfiguration("3", "ops@example.com  noc@example.com\tops2@example.com");
  storeConfigurations({configuration});
  writeFile(std::string(paths::kSystemLogDirectory) + "logSystem.csv", "header\n");

  EXPECT_EQ(manageEmails(EmailEvent{EventType::Test, "", 1, "3", 1, ""}), ErrorCode::TestEmailSucceeded);

  std::string const directory = paths::kWorkDirectory;
  std::vector<std::string> const expected = {"-s",
                                             "Room 2 UPS - Test email",
                                             "-a",
                                             directory + "logUpdate.csv",
                                             directory + "logAccount.csv",
                                             directory + "logSession.csv",
                                             directory + "logSystem.csv",
                                             "--",
                                             "ops@example.com",
                                             "noc@example.com",
                                             "ops2@example.com"};
  EXPECT_EQ(splitAtNul(readFile(recordFile)), expected);
  EXPECT_EQ(readFile(recordFile + ".body"), readFile(directory + "3test.txt"));
}

#ifdef EMAILSERVICE_SERIALIZE_CALLS

// Two threads call at the same moment: the second call waits for the first, so that each mail
// command reads its own body. The lock is released when an exception leaves a call.
TEST_F(ShellInjectionTest, CallsAtTheSameTimeAreSerializedAndNeverMixTheirFiles) {
  freshRun();
  setenv("HARDENING_FAULT", "slow", 1);
  storeConfigurations({alarmConfiguration("7", "ops@example.com")});
  std::vector<std::thread> callers;
  for (char const* description : {"first caller", "second caller"}) {
    callers.emplace_back([description] { EXPECT_EQ(manageEmails(criticalUpsAlarm(description)), ErrorCode::Success); });
  }
  for (auto& caller : callers) {
    caller.join();
  }
  unsetenv("HARDENING_FAULT");
  int sent = 0;
  for (auto const& entry : fs::directory_iterator(root)) {
    if (entry.path().filename().string().rfind("words.", 0) != 0) {
      continue;
    }
    ++sent;
    std::string const record = readFile(entry.path().string());
    std::string const subject = record.substr(0, record.find('\n'));
    EXPECT_NE(record.find(subject.substr(subject.rfind(" - ")) + "\n", subject.size()), std::string::npos) << record;
  }
  EXPECT_EQ(sent, 2);

  card().setFault("getDeviceFriendlyName");
  EXPECT_THROW(manageEmails(criticalUpsAlarm("x")), std::runtime_error);
  int const lockFile = ::open(CallLock::path().c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(::flock(lockFile, LOCK_EX | LOCK_NB), 0) << "the lock is still held";
  ::close(lockFile);
}

#endif

}  // namespace
}  // namespace emailservice::testing
