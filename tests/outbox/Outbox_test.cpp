// The outbox through the whole call and the real /bin/sh with the recording stand-ins
// (support/RecordingMail.h): e-mails kept and delivered once in order, the bounds, the card's log,
// a kill while keeping, an unusable outbox, calls at once. Built in the outbox profiles only.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "BuildSettings.h"
#include "CardPaths.h"
#include "emailservice/Outbox.h"
#include "outbox/OutboxLog.h"
#include "outbox/OutboxStore.h"
#include "support/RecordingMail.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::HasSubstr;

constexpr double kDeadline = settings::kMailDeadlineSeconds;

std::string const kWork = paths::kWorkDirectory;

// The stand-in's "refuse" fault prints the failure text, which fails a sending in every profile.
using OutboxTest = RecordingMailTest;

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
TEST_F(OutboxTest, FailedEmailsAreKeptAndDeliveredOnceInOrder) {
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_SENT", "1", 1);
  setenv("HARDENING_FAULT", "refuse", 1);
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
  EXPECT_EQ(kept[0].lastReason, "sendemail: Could not send the message (relay down)");
  unsetenv("HARDENING_FAULT");
  EXPECT_EQ(sendAlarm("third"), ErrorCode::Success);
  EXPECT_EQ(Outbox::retry(), ErrorCode::Success);
  EXPECT_EQ(readFile(record + ".sent"),
            " - Alarm - Active - Critical - first: own body, logAlarm.csv\n"
            " - Alarm - Active - Critical - second: own body, logAlarm.csv\n"
            " - Alarm - Active - Critical - third: own body, logAlarm.csv\n");
  auto const entries = outboxEntries();
  ASSERT_EQ(entries.size(), 5U);
  EXPECT_EQ(entries[0],
            "40: Email for Office configuration not sent: sendemail: Could not send the message (relay down)");
  EXPECT_EQ(entries[1],
            "41: Kept email for Office configuration not sent again (attempt 2): sendemail: Could not send the message "
            "(relay down)");
  EXPECT_EQ(entries[2],
            "40: Email for Office configuration not sent: sendemail: Could not send the message (relay down)");
  EXPECT_THAT(entries[3], HasSubstr("42: Kept email for Office configuration delivered (attempt 3, first attempt 20"));
  EXPECT_THAT(entries[4], HasSubstr("42: Kept email for Office configuration delivered (attempt 2, first attempt 20"));
}

// A kept e-mail that fails again holds back only the later ones of its configuration; a relay that
// does not answer ends the pass at the first deadline.
TEST_F(OutboxTest, AFailingKeptEmailHoldsBackOnlyItsOwnConfiguration) {
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_SENT", "1", 1);
  setenv("HARDENING_FAULT", "refuse", 1);
  EXPECT_EQ(sendAlarm("refused"), ErrorCode::SendError);
  storeConfigurations({"7", "8"}, "ops@example.com", kOffice);
  // Killed by a signal, which fails a sending in the hardened profile; refused in the others.
  setenv("HARDENING_FAULT", settings::kHardened ? "kill" : "refuse", 1);
  EXPECT_EQ(sendAlarm("late"), ErrorCode::SendError);
  EXPECT_THAT(Outbox::list()[0].lastReason,
              ::testing::StartsWith(settings::kHardened ? "ended by signal 9" : "sendemail: Could not"));
  auto attempts = [] {
    std::string found;
    for (auto const& kept : Outbox::list()) {
      found += kept.configurationId + ":" + std::to_string(kept.attempts) + " ";
    }
    return found;
  };
  ASSERT_EQ(attempts(), "7:2 7:1 8:1 ");
  bool const hang = kDeadline > 0 && kDeadline <= 10;  // a test build's deadline, not the card's
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
TEST_F(OutboxTest, AFaultOfTheCardsLogLeavesTheOutcomeAlone) {
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_FAULT", "refuse", 1);
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
TEST_F(OutboxTest, CallsAtOnceKeepAndDeliverEachEmailOnce) {
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_SENT", "1", 1);
  setenv("HARDENING_FAULT", "refuse", 1);
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
TEST_F(OutboxTest, TheOutboxDropsTheOldestAndGivesUp) {
  if (settings::kOutboxMaxEmails != 3 || settings::kOutboxMaxBytes != 65536 || settings::kOutboxMaxAttempts != 5) {
    GTEST_SKIP() << "the bounds of the test presets only";
  }
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_FAULT", "refuse", 1);
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
  c.firstAttemptBoot -= settings::kOutboxMaxAgeSeconds;  // may be before the boot of a young system
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
TEST_F(OutboxTest, TheByteBoundCountsTheRecordAsWritten) {
  OutboxStore store(kWork + "outbox", {3, 2000});
  ComposedEmail email{"7", "Office", "subject", "ops", kWork + "7ups.txt", {}, ""};
  writeFile(email.bodyFile, std::string(1000, 'b'));
  std::vector<std::string> attachments;
  for (char name = 'a'; name < 'i'; ++name) {  // empty files, 1600 bytes of names
    attachments.push_back(kWork + std::string(200, name));
    writeFile(attachments.back(), "");
  }
  email.setAttachments(attachments);
  store.keep(email, "refused");
  EXPECT_TRUE(store.list().empty());
  EXPECT_THAT(outboxEntries().back(), HasSubstr(" bytes exceed the outbox's 2000"));
}

// A delivered e-mail that cannot be removed (a read-only mount over it) ends the pass with an entry,
// and is sent again once it can be removed: at least once.
TEST_F(OutboxTest, AKeptEmailThatCannotBeRemovedEndsThePass) {
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_FAULT", "refuse", 1);
  EXPECT_EQ(sendAlarm("first"), ErrorCode::SendError);
  EXPECT_EQ(sendAlarm("second"), ErrorCode::SendError);
  unsetenv("HARDENING_FAULT");
  setenv("HARDENING_SENT", "1", 1);
  std::string const first = kWork + "outbox/0000000001";
  if (::mount(first.c_str(), first.c_str(), "none", MS_BIND, nullptr) != 0 ||
      ::mount("none", first.c_str(), "none", MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0) {
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
TEST_F(OutboxTest, AKillAtAnyMomentOfKeepingLeavesNoHalfEmail) {
  std::string const body(64 * 1024, 'b');
  std::string const attachment(32 * 1024, 'l');
  writeFile(kWork + "7ups.txt", body);
  writeFile(kWork + "logAlarm.csv", attachment);
  ComposedEmail email{"7", "Office", "subject", "ops", kWork + "7ups.txt", {}, ""};
  email.setAttachments({kWork + "logAlarm.csv"});
  OutboxStore const store(kWork + "outbox", {3, 1ULL << 40});
  std::mt19937 random(std::random_device{}());
  int runs = 0;
  int cutShort = 0;  // runs killed in the middle of a keep
  for (auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
       std::chrono::steady_clock::now() < end; ++runs) {
    pid_t const child = fork();
    if (child == 0) {
      for (OutboxStore keeper = store;;) {
        keeper.keep(email, "refused");
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
      ComposedEmail const copies = store.composed(sequence, kept);
      ASSERT_EQ(readFile(copies.bodyFile), body);
      ASSERT_EQ(readFile(copies.attachments.at(0)), attachment);
    }
    fs::remove_all(kWork + "outbox");
  }
  EXPECT_GT(runs, 20);
  EXPECT_GT(cutShort, 0);
}

// An outbox that is missing is created; one that cannot be written loses the e-mail, says why in
// the card's log, and the call returns its code all the same.
TEST_F(OutboxTest, AnUnusableOutboxLosesTheEmailWithALogEntry) {
  // Options of a tmpfs over the outbox; "file": a file in its place; "": missing.
  char const* const cases[] = {"", "file", "size=4k", "ro"};
  storeConfigurations({"7"}, "ops@example.com", kOffice);
  setenv("HARDENING_FAULT", "refuse", 1);
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
      EXPECT_EQ(::mount("tmpfs", outbox.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    }
    EXPECT_EQ(sendAlarm("lost"), ErrorCode::SendError);
    EXPECT_THAT(
        outboxEntries().back(),
        HasSubstr(
            mount.empty()
                ? "40: Email for Office configuration not sent: sendemail: Could not send the message (relay down)"
                : "44: Email for Office configuration not kept: "));
    EXPECT_EQ(keptAlarms(), mount.empty()   ? std::vector<std::string>{"lost"}
                            : mount == "ro" ? std::vector<std::string>{"earlier"}
                                            : std::vector<std::string>{});
    ::umount2(outbox.c_str(), MNT_DETACH);
  }
}

}  // namespace
}  // namespace emailservice::testing
