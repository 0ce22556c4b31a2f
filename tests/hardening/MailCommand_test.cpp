// The mail command under hostile and bad input, through the whole call and the real /bin/sh with
// the recording sendemail stand-in of tests/hardening/bin (first on the PATH, behind a sudo that
// drops "-u email"), which writes the words it received and the body it read. This source is
// built twice: into hardening_tests against the default library and into
// hardened_submission_tests against the hardened profile (EMAILSERVICE_HARDENED_SUBMISSION);
// where the two differ, each build checks its own documented behaviour.
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

#include "CardPaths.h"
#include "dispatch/CallLock.h"
#ifdef EMAILSERVICE_OUTBOX
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <ctime>
#include <random>

#include "emailservice/Outbox.h"
#include "outbox/OutboxLog.h"
#include "outbox/OutboxStore.h"
#endif
#include "support/CardTest.h"
#include "support/WholeCall.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

#ifdef EMAILSERVICE_HARDENED_SUBMISSION
constexpr double kDeadline = EMAILSERVICE_MAIL_DEADLINE_SECONDS;
#else
constexpr double kDeadline = 0;  // the default build has none: the command runs until it ends
#endif
constexpr bool kHardened = kDeadline > 0;  // the hardened profile always has one

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

// An enabled configuration that mails every critical UPS alarm.
std::string const kAlarmConfiguration =
    "enabled { value: true } eventNotification { value: true } "
    "upsEventTable { critical { subscribed { value: true } } } ";

// Stores the card's list: the template entry, never processed, then per id the alarm
// configuration with `recipients`, and with `more` (protobuf text format) merged over it.
void storeConfigurations(std::vector<std::string> const& ids, std::string const& recipients,
                         std::string const& more = "") {
  dravo::proto::EmailConfiguration configuration;
  google::protobuf::TextFormat::MergeFromString(kAlarmConfiguration + more, &configuration);
  configuration.mutable_recipients()->set_value(recipients);
  dravo::proto::toolkitStruct record;
  record.mutable_emailconfigurationlist()->add_configurations();
  for (auto const& id : ids) {
    configuration.mutable_id()->set_value(id);
    *record.mutable_emailconfigurationlist()->add_configurations() = configuration;
  }
  simcard::SimulatedCard::instance().setRecord("EMAIL_CONFIGURATION", record);
}

ErrorCode sendAlarm(std::string const& description) {
  return manageEmails(EmailEvent{EventType::Ups, "2026-11-23 10:00:00", EventLevel::Critical, "1A", 1, description});
}

class MailCommandTest : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    fs::create_directories(scratch);
    fs::current_path(scratch);  // where a command or a redirection of a value would write
    setenv("PATH", (EMAILSERVICE_SOURCE_DIR "/tests/hardening/bin:"s + std::getenv("PATH")).c_str(), 1);
    setenv("HARDENING_RECORD", record.c_str(), 1);
  }

  void TearDown() override {
    fs::remove_all(root);
    unsetenv("HARDENING_FAULT");
    unsetenv("HARDENING_SENT");
    unsetenv("HARDENING_REFUSE");
    CardTest::TearDown();
  }

  fs::path const root = fs::temp_directory_path() / ("emailservice-hardening-" + std::to_string(getpid()));
  fs::path const scratch = root / "cwd";
  std::string const record = (root / "words").string();
};

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

#ifdef EMAILSERVICE_HARDENED_SUBMISSION

// An id that is not a plain name would put the body work file outside the work directory, or name
// another file: such a configuration is not processed at all.
TEST_F(MailCommandTest, ConfigurationWhoseIdIsNotAPlainNameIsNotProcessed) {
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

#else

using BadInputTest = MailCommandTest;

// Linux takes at most 128 KiB in one program argument: a command text that long cannot start,
// which the submission reports as a failed sending.
TEST_F(BadInputTest, ACommandTooLongForTheSystemIsAFailedSending) {
  storeConfigurations({"7"}, std::string(256 * 1024, 'a'));
  EXPECT_EQ(sendAlarm("On battery"), ErrorCode::SendError);
}

// The walk is linear in the list's length: 10,000 configurations take at most 30 times as long
// as 1,000 (a walk that read or copied the list once per configuration would take about 100
// times as long).
TEST_F(BadInputTest, TenThousandConfigurationsTakeLinearTime) {
  recordShellCommands();
  double seconds[2] = {};
  for (std::size_t const count : {1000U, 10000U}) {
    std::vector<std::string> ids(count);
    std::generate(ids.begin(), ids.end(), [n = 0]() mutable { return std::to_string(n++); });
    storeConfigurations(ids, "ops@example.com");
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(sendAlarm("On battery"), ErrorCode::Success);
    seconds[count / 10000] = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  auto const mails = recordedShellCommands();
  ASSERT_EQ(mails.size(), 11000U);
  EXPECT_EQ(mails.back(),
            "sudo -u email sendemail -s \" - Alarm - Active - Critical - On battery\" -- ops@example.com < " + kWork +
                "9999ups.txt");
  EXPECT_LT(seconds[1], 30 * seconds[0]) << "1,000 configurations: " << seconds[0] << " s, 10,000: " << seconds[1];
}

#endif

// The outbox with the rules of the hardened profile (an exit status is a failure); an outbox build
// without that profile runs them as hardened_submission_tests.
#if defined(EMAILSERVICE_OUTBOX) && defined(EMAILSERVICE_HARDENED_SUBMISSION)

using ::testing::Contains;
using ::testing::HasSubstr;

// The outbox's card log entries since the card was reset, as "ID: message".
std::vector<std::string> outboxEntries() {
  std::vector<std::string> lines;
  for (auto const& entry : simcard::SimulatedCard::instance().cardLog()) {
    if (entry.eventId >= OutboxLog::kNotSent && entry.eventId <= OutboxLog::kDropped) {
      EXPECT_EQ(entry.severity, entry.eventId == OutboxLog::kDelivered ? 6 : 4);
      lines.push_back(std::to_string(entry.eventId) + ": " + entry.message);
    }
  }
  return lines;
}

// The descriptions of the kept alarms, oldest first.
std::vector<std::string> keptAlarms() {
  std::vector<std::string> alarms;
  for (auto const& kept : Outbox::list()) {
    alarms.push_back(kept.subject.substr(kept.subject.rfind(" - ") + 3));
  }
  return alarms;
}

std::string const kOffice =
    "name { value: \"Office\" } upsEventTable { critical { alarmLogSelected { value: true } } }";

// Two alarms fail and are kept; the second rewrites the work files of the first. Once the relay
// is back, the next call delivers both, each with its own body, before its own e-mail, once.
TEST_F(MailCommandTest, FailedEmailsAreKeptAndDeliveredOnceInOrder) {
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_SENT", "1", 1);
  setenv("HARDENING_FAULT", "exit", 1);
  mode_t const umask = ::umask(077);  // kept files are for the mail command's user, whatever the umask
  EXPECT_EQ(sendAlarm("first"), ErrorCode::SendError);
  ::umask(umask);
  for (auto const* kept : {"", "/0000000001", "/0000000001/attachments", "/0000000001/attachments/logAlarm.csv",
                           "/0000000001/body", "/0000000001/email"}) {
    EXPECT_EQ(fs::status(kWork + "outbox" + kept).permissions(),
              fs::is_directory(kWork + "outbox" + kept) ? fs::perms(0711) : fs::perms(0644))
        << kept;
  }
  EXPECT_EQ(sendAlarm("second"), ErrorCode::SendError);
  auto const kept = Outbox::list();
  ASSERT_EQ(kept.size(), 2U);
  EXPECT_EQ(kept[0].configurationId + kept[0].configurationName + kept[0].recipients, "7Officeops@example.com");
  EXPECT_EQ(kept[0].attempts, 2);
  EXPECT_EQ(kept[0].lastReason, "exit status 3");
  unsetenv("HARDENING_FAULT");
  EXPECT_EQ(sendAlarm("third"), ErrorCode::Success);
  EXPECT_EQ(Outbox::retry(), ErrorCode::Success);
  EXPECT_EQ(readFile(record + ".sent"),
            " - Alarm - Active - Critical - first: own body, logAlarm.csv\n"
            " - Alarm - Active - Critical - second: own body, logAlarm.csv\n"
            " - Alarm - Active - Critical - third: own body, logAlarm.csv\n");
  auto const entries = outboxEntries();
  ASSERT_EQ(entries.size(), 5U);
  EXPECT_EQ(entries[0], "40: Email for Office configuration not sent: exit status 3");
  EXPECT_EQ(entries[1], "41: Kept email for Office configuration not sent again (attempt 2): exit status 3");
  EXPECT_EQ(entries[2], "40: Email for Office configuration not sent: exit status 3");
  EXPECT_THAT(entries[3], HasSubstr("42: Kept email for Office configuration delivered (attempt 3, first attempt 20"));
  EXPECT_THAT(entries[4], HasSubstr("42: Kept email for Office configuration delivered (attempt 2, first attempt 20"));
}

// A kept e-mail that fails again holds back only the later ones of its configuration; a relay that
// does not answer ends the pass at the first deadline.
TEST_F(MailCommandTest, AFailingKeptEmailHoldsBackOnlyItsOwnConfiguration) {
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_SENT", "1", 1);
  setenv("HARDENING_FAULT", "exit", 1);
  EXPECT_EQ(sendAlarm("refused"), ErrorCode::SendError);
  storeConfigurations({"7", "8"}, "ops@example.com", kOffice);
  setenv("HARDENING_FAULT", "kill", 1);
  EXPECT_EQ(sendAlarm("late"), ErrorCode::SendError);
  EXPECT_THAT(Outbox::list()[0].lastReason, ::testing::StartsWith("ended by signal 9"));
  auto attempts = [] {
    std::string found;
    for (auto const& kept : Outbox::list()) {
      found += kept.configurationId + ":" + std::to_string(kept.attempts) + " ";
    }
    return found;
  };
  ASSERT_EQ(attempts(), "7:2 7:1 8:1 ");
  bool const hang = kDeadline <= 10;  // the test build's deadline, not the card's
  if (hang) {
    setenv("HARDENING_FAULT", "hang", 1);
    EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
    EXPECT_EQ(attempts(), "7:3 7:1 8:1 ");
    EXPECT_EQ(Outbox::list()[0].lastReason, "no answer within " + std::to_string(static_cast<int>(kDeadline)) + " s");
  }
  unsetenv("HARDENING_FAULT");
  setenv("HARDENING_REFUSE", "refused", 1);
  EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
  EXPECT_EQ(readFile(record + ".sent"), " - Alarm - Active - Critical - late: own body, logAlarm.csv\n");
  EXPECT_EQ(attempts(), hang ? "7:4 7:1 " : "7:3 7:1 ");
  EXPECT_THAT(Outbox::list()[0].lastReason, HasSubstr("Could not send the message"));
}

// An exception of the card's log never changes a call's outcome: the call returns its code, the
// e-mail is kept, a retry returns its result and counts its attempt.
TEST_F(MailCommandTest, AFaultOfTheCardsLogLeavesTheOutcomeAlone) {
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_FAULT", "exit", 1);
  card().setFault("logMessage");
  EXPECT_EQ(sendAlarm("first"), ErrorCode::SendError);
  EXPECT_EQ(sendAlarm("second"), ErrorCode::SendError);
  EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{"first", "second"}));
  EXPECT_EQ(Outbox::list()[0].attempts, 3);
  unsetenv("HARDENING_FAULT");
  EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);  // ended by the entry of the first delivery
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{"second"}));
  card().setFault("");
  EXPECT_EQ(Outbox::retry(), ErrorCode::Success);
}

// Two calls at once keep one whole e-mail each; a retry from a timer at the same moment as another
// sends each kept e-mail once.
TEST_F(MailCommandTest, CallsAtOnceKeepAndDeliverEachEmailOnce) {
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_SENT", "1", 1);
  setenv("HARDENING_FAULT", "exit", 1);
  std::thread first([] { EXPECT_EQ(sendAlarm("first"), ErrorCode::SendError); });
  EXPECT_EQ(sendAlarm("second"), ErrorCode::SendError);
  first.join();
  ASSERT_EQ(Outbox::list().size(), 2U);
  unsetenv("HARDENING_FAULT");
  std::thread timer([] { Outbox::retry(); });
  Outbox::retry();
  timer.join();
  std::string const sent = readFile(record + ".sent");
  for (auto const* alarm : {"first", "second"}) {
    EXPECT_EQ(sent.find(alarm), sent.rfind(alarm)) << sent;
    EXPECT_NE(sent.find(alarm), std::string::npos) << sent;
  }
}

// A reason in the card's log: control characters replaced, at most 200 bytes, never half a letter.
TEST(OutboxLogTest, ReasonsArePrintableAndShort) {
  std::string const letters(99, 'a');
  EXPECT_EQ(OutboxLog::printable("a\nb\tc\x7f\x01" + std::string("\xc3\xa9"), 200), "a?b?c??\xc3\xa9");
  EXPECT_EQ(OutboxLog::printable(letters + letters + "b\xc3\xa9", 200), letters + letters + "b");
  EXPECT_EQ(OutboxLog::printable(letters + letters + "bcd", 200), letters + letters + "bc");
}

// A record whose attachment name is not a plain name is damaged: the name is a word of the mail
// command and a path in the kept e-mail's directory.
TEST(KeptEmailTest, AttachmentNamesReadBackArePlainNames) {
  KeptEmail email{"7", "Office", "subject", "ops", {"logAlarm.csv"}, 0, 0, 1, ""};
  KeptEmail read;
  EXPECT_TRUE(read.fromText(email.toText()));
  for (auto const* bad : {"", ".", "..", "../email", "a b", "a\tb", "a\x7f"}) {
    email.attachments = {"logAlarm.csv", bad};
    EXPECT_FALSE(read.fromText(email.toText())) << bad;
  }
}

// The bounds of the test build: 3 e-mails, 65536 bytes, 5 attempts; the age of the default.
TEST_F(MailCommandTest, TheOutboxDropsTheOldestAndGivesUp) {
  if (EMAILSERVICE_OUTBOX_MAX_EMAILS != 3 || EMAILSERVICE_OUTBOX_MAX_BYTES != 65536 ||
      EMAILSERVICE_OUTBOX_MAX_ATTEMPTS != 5) {
    GTEST_SKIP() << "the bounds of the test build only (hardened_submission_tests)";
  }
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_FAULT", "exit", 1);
  for (auto const* alarm : {"a", "b", "c", "d"}) {
    EXPECT_EQ(sendAlarm(alarm), ErrorCode::SendError);
  }
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{"b", "c", "d"}));
  EXPECT_THAT(outboxEntries(), Contains("44: Email for Office configuration dropped from the outbox: the outbox "
                                        "holds 3 e-mails at most"));
  for (int retry = 0; retry < 4; ++retry) {  // b: attempts 2 to 5
    EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
  }
  EXPECT_EQ(outboxEntries().back(),
            "43: Kept email for Office configuration given up after 5 attempt(s): at most 5 attempts");
  OutboxStore store;
  KeptEmail c;
  ASSERT_TRUE(store.read(store.list().front(), c));
  c.firstAttempt = 1000;  // the wall clock set long after the first attempt: not its age
  ASSERT_TRUE(store.update(store.list().front(), c));
  EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{"c", "d"}));
  ASSERT_TRUE(store.read(store.list().front(), c));
  c.firstAttemptBoot -= EMAILSERVICE_OUTBOX_MAX_AGE_SECONDS;  // may be before the boot of a young system
  ASSERT_TRUE(store.update(store.list().front(), c));
  EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
  EXPECT_THAT(outboxEntries(), Contains(HasSubstr("given up after 2 attempt(s): first attempt more than 86400 s ago")));
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{"d"}));
  KeptEmail d;  // tried as often as the bound allows, as after a build with fewer attempts
  ASSERT_TRUE(store.read(store.list().front(), d));
  d.attempts = 5;
  ASSERT_TRUE(store.update(store.list().front(), d));
  EXPECT_EQ(Outbox::retry(), ErrorCode::Success);
  EXPECT_THAT(outboxEntries().back(), HasSubstr("given up after 5 attempt(s): at most 5 attempts"));
  EXPECT_EQ(sendAlarm(std::string(70000, 'x')), ErrorCode::SendError);
  EXPECT_TRUE(Outbox::list().empty());
  EXPECT_THAT(outboxEntries().back(), HasSubstr("44: Email for Office configuration not kept: "));
  EXPECT_THAT(outboxEntries().back(), HasSubstr(" bytes exceed the outbox's 65536"));
  EXPECT_EQ(sendAlarm(std::string(20000, 'y')), ErrorCode::SendError);
  EXPECT_EQ(sendAlarm(std::string(20000, 'z')), ErrorCode::SendError);
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{std::string(20000, 'z')}));
  EXPECT_THAT(outboxEntries(), Contains(HasSubstr("dropped from the outbox: the outbox holds 65536 bytes at most")));
}

// The byte bound counts the record as written, attachment names included.
TEST_F(MailCommandTest, TheByteBoundCountsTheRecordAsWritten) {
  OutboxStore store(kWork + "outbox", {3, 2000});
  FailedEmail email{{"7", "Office", "subject", "ops", {}, 0, 0, 1, ""}, kWork + "7ups.txt", {}};
  writeFile(email.bodyFile, std::string(1000, 'b'));
  for (char name = 'a'; name < 'i'; ++name) {  // empty files, 1600 bytes of names
    email.attachments.push_back(kWork + std::string(200, name));
    writeFile(email.attachments.back(), "");
  }
  store.keep(email);
  EXPECT_TRUE(store.list().empty());
  EXPECT_THAT(outboxEntries().back(), HasSubstr(" bytes exceed the outbox's 2000"));
}

// A delivered e-mail that cannot be removed (a read-only mount over it) ends the pass with an entry,
// and is sent again once it can be removed: at least once.
TEST_F(MailCommandTest, AKeptEmailThatCannotBeRemovedEndsThePass) {
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_FAULT", "exit", 1);
  EXPECT_EQ(sendAlarm("first"), ErrorCode::SendError);
  EXPECT_EQ(sendAlarm("second"), ErrorCode::SendError);
  unsetenv("HARDENING_FAULT");
  setenv("HARDENING_SENT", "1", 1);
  std::string const first = kWork + "outbox/0000000001";
  if (::mount(first.c_str(), first.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
      ::mount(nullptr, first.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0) {
    ::umount2(first.c_str(), MNT_DETACH);
    GTEST_SKIP() << "mounting needs root in a mount namespace of its own";
  }
  EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
  ::umount2(first.c_str(), MNT_DETACH);
  EXPECT_EQ(readFile(record + ".sent"), " - Alarm - Active - Critical - first: own body, logAlarm.csv\n");
  EXPECT_THAT(outboxEntries(), Contains(HasSubstr("44: Email for Office configuration not removed from the outbox: ")));
  EXPECT_EQ(Outbox::retry(), ErrorCode::Success);
  EXPECT_EQ(keptAlarms(), std::vector<std::string>{});
}

// A process killed at a random moment of keeping (and of dropping the oldest to make room) leaves
// whole kept e-mails only.
TEST_F(MailCommandTest, AKillAtAnyMomentOfKeepingLeavesNoHalfEmail) {
  std::string const body(64 * 1024, 'b');
  std::string const attachment(32 * 1024, 'l');
  writeFile(kWork + "7ups.txt", body);
  writeFile(kWork + "logAlarm.csv", attachment);
  FailedEmail email{
      {"7", "Office", "subject", "ops", {}, 0, 0, 1, "exit status 3"}, kWork + "7ups.txt", {kWork + "logAlarm.csv"}};
  OutboxStore const store(kWork + "outbox", {3, 1ULL << 40});
  std::mt19937 random(std::random_device{}());
  int runs = 0;
  int cutShort = 0;  // runs killed in the middle of a keep
  for (auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
       std::chrono::steady_clock::now() < end; ++runs) {
    pid_t const child = fork();
    if (child == 0) {
      for (OutboxStore keeper = store;;) {
        keeper.keep(email);
      }
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 5000));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    std::error_code none;  // a kill before the outbox exists
    for (auto const& entry : fs::directory_iterator(kWork + "outbox", none)) {
      cutShort += entry.path().filename().string().rfind(".keep-", 0) == 0 ? 1 : 0;
    }
    for (auto const& sequence : store.list()) {
      KeptEmail kept;
      ASSERT_TRUE(store.read(sequence, kept)) << "run " << runs << ", " << sequence;
      ASSERT_EQ(readFile(store.bodyPath(sequence)), body);
      ASSERT_EQ(readFile(store.attachmentPath(sequence, "logAlarm.csv")), attachment);
    }
    fs::remove_all(kWork + "outbox");
  }
  EXPECT_GT(runs, 20);
  EXPECT_GT(cutShort, 0);
}

// An outbox that is missing is created; one that cannot be written loses the e-mail, says why in
// the card's log, and the call returns its code all the same.
TEST_F(MailCommandTest, AnUnusableOutboxLosesTheEmailWithALogEntry) {
  // Options of a tmpfs over the outbox; "file": a file in its place; "": missing.
  char const* const cases[] = {"", "file", "size=4k", "ro"};
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_FAULT", "exit", 1);
  std::string const outbox = kWork + "outbox";
  for (std::string const mount : cases) {
    SCOPED_TRACE(mount);
    fs::remove_all(outbox);
    if (mount == "file") {
      writeFile(outbox, "");
    } else if (!mount.empty() &&
               (!fs::create_directory(outbox) ||
                ::mount("tmpfs", outbox.c_str(), "tmpfs", 0, mount == "ro" ? nullptr : mount.c_str()) != 0)) {
      GTEST_SKIP() << "mounting needs root in a mount namespace of its own";
    }
    if (mount == "ro") {  // an e-mail kept before the outbox became read-only stays kept
      EXPECT_EQ(sendAlarm("earlier"), ErrorCode::SendError);
      EXPECT_EQ(::mount(nullptr, outbox.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    }
    EXPECT_EQ(sendAlarm("lost"), ErrorCode::SendError);
    EXPECT_THAT(outboxEntries().back(),
                HasSubstr(mount.empty() ? "40: Email for Office configuration not sent: exit status 3"
                                        : "44: Email for Office configuration not kept: "));
    EXPECT_EQ(keptAlarms(), mount.empty()   ? std::vector<std::string>{"lost"}
                            : mount == "ro" ? std::vector<std::string>{"earlier"}
                                            : std::vector<std::string>{});
    ::umount2(outbox.c_str(), MNT_DETACH);
  }
}

#endif

#ifdef EMAILSERVICE_SERIALIZE_CALLS

// Two threads call at the same moment: the second call waits for the first, so that each mail
// command reads its own body (a second late: without the lock both would read the second's, as
// the stand-in reports). The lock is released when an exception leaves a call.
TEST_F(MailCommandTest, CallsAtTheSameTimeAreSerializedAndNeverMixTheirFiles) {
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

#endif

}  // namespace
}  // namespace emailservice::testing
