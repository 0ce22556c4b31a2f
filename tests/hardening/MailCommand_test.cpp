// The mail command under hostile and bad input, through the whole call and the real /bin/sh with
// the recording stand-ins (support/RecordingMail.h). Every profile runs it; where the default
// build and the hardened profile differ, each checks its own documented behaviour.
#include <fcntl.h>
#include <google/protobuf/text_format.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BuildSettings.h"
#include "CardPaths.h"
#include "dispatch/CallLock.h"
#include "support/RecordingMail.h"
#include "support/WholeCall.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

constexpr double kDeadline = settings::kMailDeadlineSeconds;  // 0: none, the command runs until it ends
constexpr bool kHardened = settings::kHardened;

std::string const kWork = paths::kWorkDirectory;

// The non-empty pieces of `text` between any of the characters of `separators`.
std::vector<std::string> piecesOf(std::string const& text, std::string const& separators) {
  std::vector<std::string> pieces;
  for (auto begin = text.find_first_not_of(separators); begin != std::string::npos;) {
    auto const end = text.find_first_of(separators, begin);
    pieces.push_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(separators, end);
  }
  return pieces;
}

// The text of hostile-values.txt, then 64 KiB and a command substitution.
std::string hostileCorpus() {
  dravo::proto::StringValue corpus;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(
      readFile(EMAILSERVICE_SOURCE_DIR "/tests/hardening/hostile-values.txt"), &corpus));
  return corpus.value() + std::string(64 * 1024, 'a') + "$(touch marker)";
}

using MailCommandTest = RecordingMailTest;

// Hostile values in each place that reaches the mail command: the card's name (which opens the
// subject), the alarm's description (which ends it) and the recipients. Hardened: the whole
// corpus in one place reaches sendemail as plain words and runs nothing. Default: inside the
// subject's double quotes, quotes, backslashes and backquotes are neutralised but "$" stays live;
// the recipients are shell text.
TEST_F(MailCommandTest, HostileValuesInEachPlace) {
  std::string const corpus = hostileCorpus();
  std::string plain = corpus;  // NUL bytes cannot be part of a program argument
  plain.erase(std::remove(plain.begin(), plain.end(), '\0'), plain.end());
  std::string read = plain;  // and a subject's backquotes become single quotes
  std::replace(read.begin(), read.end(), '`', '\'');
  // Default: values that show what the shell does with them, and what they become.
  std::string const inSubject = kHardened ? corpus : "\"q\" \\\" \\ `x` $((6*7)) $(touch marker)";
  read = kHardened ? read : "\"q\" \\\" \\ 'x' 42 ";
  std::string const inRecipients = kHardened ? corpus : "ops@example.com $((6*7));touch marker";
  plain = kHardened ? plain : "ops@example.com 42";
  for (int place = 0; place < 3; ++place) {  // the card's name, the description, the recipients
    SCOPED_TRACE(place);
    fs::remove(scratch / "marker");
    card().device(1).set_friendlyname(place == 0 ? inSubject : "UPS-A");
    storeConfigurations({"7"}, place == 2 ? inRecipients : "ops@example.com",
                        "upsEventTable { critical { alarmLogSelected { value: true } } }");
    EXPECT_EQ(sendAlarm(place == 1 ? inSubject : "On battery"), ErrorCode::Success);
    std::string const subject =
        (place == 0 ? read : "UPS-A") + " - Alarm - Active - Critical - " + (place == 1 ? read : "On battery");
    std::vector<std::string> expected = {"-s", subject, "-a", kWork + "logAlarm.csv", "--"};
    auto const recipients = piecesOf(place == 2 ? plain : "ops@example.com", " \t\n");
    expected.insert(expected.end(), recipients.begin(), recipients.end());
    EXPECT_EQ(piecesOf(readFile(record), "\0"s), expected);
    EXPECT_EQ(fs::is_empty(scratch), kHardened) << "whether a command of the value ran";
    // The body reaches sendemail, unless ";" cut its redirection off.
    EXPECT_EQ(readFile(record + ".body") == readFile(kWork + "7ups.txt"), kHardened || place != 2);
  }
}

// How the end of the mail command counts: by default only the failure text, which is found after
// a flood of output too; the hardened profile also counts the exit status and ends the command at
// its deadline. In both builds a command that leaves a child returns at once, the child ended.
TEST_F(MailCommandTest, HowTheEndOfTheMailCommandCounts) {
  struct {
    std::string fault;  // of the stand-in; "no-body": the work directory is gone, the body too
    ErrorCode byDefault, hardened;
  } const cases[] = {
      {"exit", ErrorCode::Success, ErrorCode::SendError},    {"kill", ErrorCode::Success, ErrorCode::SendError},
      {"no-body", ErrorCode::Success, ErrorCode::SendError}, {"orphan", ErrorCode::Success, ErrorCode::Success},
      {"flood", ErrorCode::SendError, ErrorCode::SendError}, {"hang", ErrorCode::Success, ErrorCode::SendError}};
  for (auto const& c : cases) {
    if (c.fault == "hang" && (kDeadline == 0 || kDeadline > 10)) {
      continue;  // no deadline, or a long one
    }
    SCOPED_TRACE(c.fault);
    setenv("HARDENING_FAULT", c.fault.c_str(), 1);
    storeConfigurations({"7"}, "ops@example.com");
    fs::remove_all(c.fault == "no-body" ? kWork : "");
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(sendAlarm("On battery"), kHardened ? c.hardened : c.byDefault);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), kDeadline + 5);
    EXPECT_FALSE(processRuns(record + ".pid")) << "a child of the mail command outlived the call";
    fs::create_directories(kWork);
  }
}

// An id that is not a plain name would put the body work file outside the work directory, or name
// another file: in the hardened profile such a configuration is not processed at all.
TEST_F(MailCommandTest, ConfigurationWhoseIdIsNotAPlainNameIsNotProcessed) {
  if (!kHardened) {
    GTEST_SKIP() << "the hardened profile's rule";
  }
  for (std::string const& id : {""s, "."s, ".."s, "a/b"s, "../victim"s, "line\nfeed"s, "nul\0byte"s, "del\x7f"s}) {
    SCOPED_TRACE(id);
    storeConfigurations({id}, "ops@example.com", "exceptionEvents { value: \"1A\" }");
    EXPECT_EQ(manageEmails(EmailEvent{7, "", EventLevel::Critical, "1A", 1, "x"}), ErrorCode::Success);
    EXPECT_EQ(manageEmails(EmailEvent{EventType::Test, "", 1, id, 1, ""}), ErrorCode::TestEmailFailed);
    EXPECT_EQ(manageEmails(EmailEvent{EventType::Periodic, "", 1, id, 1, ""}), ErrorCode::TestEmailFailed);
    EXPECT_FALSE(fileExists(record)) << "sendemail ran";
    EXPECT_FALSE(fileExists(kWork + "../victim"));
  }
}

using BadInputTest = MailCommandTest;

// Linux takes at most 128 KiB in one program argument: a command text that long cannot start,
// which the submission reports as a failed sending.
TEST_F(BadInputTest, ACommandTooLongForTheSystemIsAFailedSending) {
  storeConfigurations({"7"}, std::string(256 * 1024, 'a'));
  EXPECT_EQ(sendAlarm("On battery"), ErrorCode::SendError);
}

// Two threads call at the same moment: where the build serializes calls, the second call waits
// for the first, so that each mail command reads its own body (a second late: without the lock
// both would read the second's, as the stand-in reports). The lock is released when an exception
// leaves a call.
TEST_F(MailCommandTest, CallsAtTheSameTimeAreSerializedAndNeverMixTheirFiles) {
  if (!settings::kSerializedCalls) {
    GTEST_SKIP() << "the lock of the builds that serialize calls";
  }
  setenv("HARDENING_FAULT", "slow", 1);
  storeConfigurations({"7"}, "ops@example.com");
  std::thread first([] { EXPECT_EQ(sendAlarm("first caller"), ErrorCode::Success); });
  EXPECT_EQ(sendAlarm("second caller"), ErrorCode::Success);
  first.join();
  EXPECT_EQ(readFile(record + ".slow"), "own body\nown body\n");
  card().setFault("getDeviceFriendlyName");
  EXPECT_THROW(sendAlarm("x"), std::runtime_error);
  int const lockFile = ::open(CallLock::path().c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(::flock(lockFile, LOCK_EX | LOCK_NB), 0) << "the lock is still held";
  ::close(lockFile);
}

}  // namespace
}  // namespace emailservice::testing
