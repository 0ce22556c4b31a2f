// The outbox through whole calls of the library and the real /bin/sh with the recording stand-ins
// (support/RecordingMail.h): e-mails kept and delivered once in order, per configuration, the
// bounds, a fault of the card's log, calls and retries at once, a reboot, an unusable outbox.
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "BuildSettings.h"
#include "CardPaths.h"
#include "dispatch/CallLock.h"
#include "emailservice/Outbox.h"
#include "outbox/KeptEmail.h"
#include "outbox/OutboxChecks.h"
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

// Two alarms fail and are kept; the second rewrites the work files of the first. Once the relay
// is back, the next call delivers both, each with its own body, before its own e-mail, once.
TEST_F(OutboxTest, FailedEmailsAreKeptAndDeliveredOnceInOrder) {
  mode_t const umask = ::umask(077);  // kept files are for the mail command's user, whatever the umask
  EXPECT_EQ(sendAlarm("first"), ErrorCode::SendError);
  ::umask(umask);
  for (auto const* kept : {"", "/0000000001", "/0000000001/attachments", "/0000000001/attachments/logAlarm.csv",
                           "/0000000001/body", "/0000000001/email"}) {
    EXPECT_EQ(fs::status(kOutboxDirectory + kept).permissions(),
              fs::is_directory(kOutboxDirectory + kept) ? fs::perms(0711) : fs::perms(0644))
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
  EXPECT_EQ(entries[2], "40: Email for Office configuration kept behind an earlier email of its configuration");
  EXPECT_THAT(entries[3], HasSubstr("42: Kept email for Office configuration delivered (attempt 3, first attempt 20"));
  EXPECT_THAT(entries[4], HasSubstr("42: Kept email for Office configuration delivered (attempt 1, first attempt 20"));
}

// A kept e-mail that fails again holds back only the later ones of its configuration; a relay that
// does not answer ends the pass at the first deadline.
TEST_F(OutboxTest, AFailingKeptEmailHoldsBackOnlyItsOwnConfiguration) {
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
  ASSERT_EQ(attempts(), "7:2 7:0 8:1 ");               // 7's second kept behind its first, untried
  bool const hang = kDeadline > 0 && kDeadline <= 10;  // a test build's deadline, not the card's
  if (hang) {
    setenv("HARDENING_FAULT", "hang", 1);
    EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
    EXPECT_EQ(attempts(), "7:3 7:0 8:1 ");
    EXPECT_EQ(Outbox::list()[0].lastReason, "no answer within " + std::to_string(static_cast<int>(kDeadline)) + " s");
  }
  unsetenv("HARDENING_FAULT");
  setenv("HARDENING_REFUSE", "refused", 1);
  EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
  EXPECT_EQ(readFile(record + ".sent"), " - Alarm - Active - Critical - late: own body, logAlarm.csv\n");
  EXPECT_EQ(attempts(), hang ? "7:4 7:0 " : "7:3 7:0 ");
  EXPECT_THAT(Outbox::list()[0].lastReason, HasSubstr("Could not send the message"));
}

// An exception of the card's log never changes a call's outcome: the call returns its code, the
// e-mail is kept, a retry returns its result and counts its attempt. The outbox keeps and lists the
// subject as composed: quotes, backslashes and backquotes as the alarm's description has them, not
// as the mail command escapes them.
TEST_F(OutboxTest, AFaultOfTheCardsLogLeavesTheOutcomeAlone) {
  card().setFault("logMessage");
  EXPECT_EQ(sendAlarm("the \"main\" feed \\ `x`"), ErrorCode::SendError);
  EXPECT_EQ(sendAlarm("second"), ErrorCode::SendError);
  EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{"the \"main\" feed \\ `x`", "second"}));
  EXPECT_EQ(Outbox::list()[0].attempts, 3);
  unsetenv("HARDENING_FAULT");
  EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);  // ended by the entry of the first delivery
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{"second"}));
  card().setFault("");
  EXPECT_EQ(Outbox::retry(), ErrorCode::Success);
}

// Two calls at once keep one whole e-mail each. Retries from a timer at the same moment as a call
// (each sending takes a second) send each kept e-mail once: the outbox's own lock does it, even
// where the call lock cannot be taken (a directory in its place).
TEST_F(OutboxTest, CallsAndRetriesAtOnceKeepAndDeliverEachEmailOnce) {
  std::thread first([] { EXPECT_EQ(sendAlarm("first"), ErrorCode::SendError); });
  EXPECT_EQ(sendAlarm("second"), ErrorCode::SendError);
  first.join();
  ASSERT_EQ(Outbox::list().size(), 2U);
  setenv("HARDENING_FAULT", "slow", 1);
  fs::remove(CallLock::path());
  fs::create_directory(CallLock::path());
  std::thread timer([] { Outbox::retry(); });
  std::thread call([] { sendAlarm("third"); });
  Outbox::retry();
  timer.join();
  call.join();
  // One line per e-mail sent: the two kept ones and the call's own.
  EXPECT_EQ(readFile(record + ".slow"), "own body\nown body\nown body\n");
  EXPECT_TRUE(Outbox::list().empty());
}

// Where the call lock cannot be taken, two calls may mix their work files: the outbox is neither
// sent nor changed in such a call, which says so once, not at every call; the call's own e-mails
// still go out.
TEST_F(OutboxTest, ACallWithoutItsLockLeavesTheOutboxAlone) {
  EXPECT_EQ(sendAlarm("kept"), ErrorCode::SendError);
  fs::remove(CallLock::path());
  fs::create_directory(CallLock::path());
  EXPECT_EQ(sendAlarm("not kept"), ErrorCode::SendError);
  unsetenv("HARDENING_FAULT");
  EXPECT_EQ(sendAlarm("sent"), ErrorCode::Success);
  EXPECT_EQ(keptAlarms(), std::vector<std::string>{"kept"});
  EXPECT_EQ(readFile(record + ".sent"), " - Alarm - Active - Critical - sent: own body, logAlarm.csv\n");
  auto const entries = outboxEntries();
  EXPECT_EQ(std::count_if(entries.begin(), entries.end(),
                          [](std::string const& entry) { return entry.find("call lock cannot") != std::string::npos; }),
            1);
  EXPECT_THAT(entries, ::testing::Contains(HasSubstr("40: Email for Office configuration not sent: ")));
}

// A reason in the card's log: control characters replaced, at most 200 bytes, never half a letter.
TEST(OutboxLogTest, ReasonsArePrintableAndShort) {
  std::string const letters(99, 'a');
  EXPECT_EQ(OutboxLog::printable("a\nb\tc\x7f\x01" + std::string("\xc3\xa9"), 200), "a?b?c??\xc3\xa9");
  EXPECT_EQ(OutboxLog::printable(letters + letters + "b\xc3\xa9", 200), letters + letters + "b");
  EXPECT_EQ(OutboxLog::printable(letters + letters + "bcd", 200), letters + letters + "bc");
}

// A record reads back as written; one whose attachment name is not a plain name is damaged: the
// name is a word of the mail command and a path in the kept e-mail's directory.
TEST(KeptEmailTest, RecordsReadBackAsWrittenWithPlainAttachmentNamesOnly) {
  KeptEmail email{"7", "Office", "subject", "ops", {"logAlarm.csv"}, 0, 1, "", "", false, 0, 0, "boot", 0};
  KeptEmail read;
  EXPECT_TRUE(read.fromText(email.toText()));
  // Times before 1970 and after 2038 read back as written.
  email.age = 100;  // a later boot counts all its own time, whatever the last boot's checkpoint was
  email.checkpoint = 50;
  EXPECT_EQ(email.ageAt("another boot", 80), 180);
  for (std::int64_t const time : {std::int64_t{-86400}, std::int64_t{1} << 33, -(std::int64_t{1} << 40)}) {
    email.firstAttempt = time;
    ASSERT_TRUE(read.fromText(email.toText())) << time;
    EXPECT_EQ(read.firstAttempt, time);
  }
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
  for (auto const* alarm : {"a", "b", "c", "d"}) {
    EXPECT_EQ(sendAlarm(alarm), ErrorCode::SendError);
  }
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{"b", "c", "d"}));
  EXPECT_THAT(outboxEntries(), Contains("44: Email for Office configuration dropped from the outbox: the outbox "
                                        "holds 3 e-mails at most"));
  for (int retry = 0; retry < 5; ++retry) {  // b, kept behind a and never tried: attempts 1 to 5
    EXPECT_EQ(Outbox::retry(), ErrorCode::SendError);
  }
  EXPECT_EQ(outboxEntries().back(),
            "43: Kept email for Office configuration given up after 5 attempt(s): at most 5 attempts");
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{"c", "d"}));
  fs::remove_all(kOutboxDirectory);
  EXPECT_EQ(sendAlarm(std::string(70000, 'x')), ErrorCode::SendError);
  EXPECT_TRUE(Outbox::list().empty());
  EXPECT_THAT(outboxEntries().back(), HasSubstr("44: Email for Office configuration not kept: "));
  EXPECT_THAT(outboxEntries().back(), HasSubstr(" bytes exceed the outbox's 65536"));
  EXPECT_EQ(sendAlarm(std::string(20000, 'y')), ErrorCode::SendError);
  EXPECT_EQ(sendAlarm(std::string(20000, 'z')), ErrorCode::SendError);
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{std::string(20000, 'z')}));
  EXPECT_THAT(outboxEntries(), Contains(HasSubstr("dropped from the outbox: the outbox holds 65536 bytes at most")));
}

// The byte bound counts the storage that the kept e-mails spend, as blocks: e-mails of a few
// hundred bytes take whole blocks of the device, and the record as written counts too.
TEST_F(OutboxTest, TheByteBoundCountsTheBlocksSpent) {
  OutboxStore store(OutboxFiles::system(), kWork + "spent", {3, 14000});
  std::string why;
  ASSERT_TRUE(store.open(OutboxStore::Use::Create, why)) << why;
  ComposedEmail email{"7", "Office", "subject", "ops", kWork + "7ups.txt", {}, {}, ""};
  writeFile(email.bodyFile, std::string(300, 'b'));
  store.keep(email, {true, "refused", "", false, 0});
  EXPECT_TRUE(store.list().empty());
  EXPECT_THAT(outboxEntries().back(), ::testing::MatchesRegex(".* not kept: [0-9]+ bytes exceed the outbox's 14000"));
}

// A delivered e-mail that cannot be removed (a read-only mount over it) ends the pass with an entry,
// and is sent again once it can be removed: at least once.
TEST_F(OutboxTest, AKeptEmailThatCannotBeRemovedEndsThePass) {
  EXPECT_EQ(sendAlarm("first"), ErrorCode::SendError);
  EXPECT_EQ(sendAlarm("second"), ErrorCode::SendError);
  unsetenv("HARDENING_FAULT");
  std::string const first = kOutboxDirectory + "/0000000001";
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

// An outbox that is missing is created; one that cannot be written loses the e-mail, says why in
// the card's log, and the call returns its code all the same.
TEST_F(OutboxTest, AnUnusableOutboxLosesTheEmailWithALogEntry) {
  // Options of a tmpfs over the outbox; "file": a file in its place; "owner", "0731": a directory of
  // another user, or one that its group may change; "": missing.
  char const* const cases[] = {"", "file", "size=4k", "ro", "owner", "0731"};
  std::string const outbox = kOutboxDirectory;
  for (std::string const mount : cases) {
    SCOPED_TRACE(mount);
    fs::remove_all(outbox);
    if (mount == "file") {
      writeFile(outbox, "");
    } else if (mount == "owner" || mount == "0731") {
      fs::create_directory(outbox);  // root here, as the mounts before have shown
      ASSERT_EQ(mount == "owner" ? ::chown(outbox.c_str(), 1, 1) : ::chmod(outbox.c_str(), 0731), 0);
    } else if (!mount.empty() && (!fs::create_directory(outbox) ||
                                  ::mount("tmpfs", outbox.c_str(), "tmpfs", 0,
                                          (mount == "ro" ? "mode=0711" : mount + ",mode=0711").c_str()) != 0)) {
      GTEST_SKIP() << "mounting needs root in a mount namespace of its own";
    }
    if (mount == "ro") {  // an e-mail kept before the outbox became read-only stays kept
      EXPECT_EQ(sendAlarm("earlier"), ErrorCode::SendError);
      EXPECT_EQ(::mount("tmpfs", outbox.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    }
    EXPECT_EQ(sendAlarm("lost"), ErrorCode::SendError);
    EXPECT_THAT(outboxEntries(),
                Contains(HasSubstr(mount.empty() ? "40: Email for Office configuration not sent: sendemail: Could not "
                                                   "send the message (relay down)"
                                                 : "44: Email for Office configuration not kept: ")));
    EXPECT_EQ(keptAlarms(), mount.empty()   ? std::vector<std::string>{"lost"}
                            : mount == "ro" ? std::vector<std::string>{"earlier"}
                                            : std::vector<std::string>{});
    ::umount2(outbox.c_str(), MNT_DETACH);
  }
}

// On the card's persistent storage the outbox outlives a reboot, which empties the work directory
// (memory): once the relay is back, the first call delivers the kept alarm before its own e-mail,
// from the outbox's own copies.
TEST_F(OutboxTest, AKeptAlarmOutlivesARebootAndGoesFirst) {
  if (kOutboxDirectory.rfind(paths::kWorkDirectory, 0) == 0) {
    GTEST_SKIP() << "this build keeps its outbox in the work directory, which a reboot empties";
  }
  EXPECT_EQ(sendAlarm("on battery"), ErrorCode::SendError);
  fs::remove_all(kWork);
  fs::create_directories(kWork);
  unsetenv("HARDENING_FAULT");
  EXPECT_EQ(sendAlarm("back on mains"), ErrorCode::Success);
  EXPECT_EQ(readFile(record + ".sent"),
            " - Alarm - Active - Critical - on battery: own body, logAlarm.csv\n"
            " - Alarm - Active - Critical - back on mains: own body, logAlarm.csv\n");
  EXPECT_TRUE(Outbox::list().empty());
}

// The outbox's storage wears: a call where nothing fails and nothing is kept writes nothing there,
// not even when the outbox exists.
TEST_F(OutboxTest, ACallWhereNothingFailsWritesNothingToTheOutbox) {
  EXPECT_EQ(sendAlarm("kept"), ErrorCode::SendError);
  unsetenv("HARDENING_FAULT");
  EXPECT_EQ(Outbox::retry(), ErrorCode::Success);
  struct stat before {};
  ASSERT_EQ(::stat(kOutboxDirectory.c_str(), &before), 0);
  EXPECT_EQ(sendAlarm("sent"), ErrorCode::Success);
  EXPECT_EQ(Outbox::retry(), ErrorCode::Success);
  struct stat after {};
  ASSERT_EQ(::stat(kOutboxDirectory.c_str(), &after), 0);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
  EXPECT_EQ(after.st_ctim.tv_nsec, before.st_ctim.tv_nsec);
  EXPECT_TRUE(fs::is_empty(kOutboxDirectory));
}

}  // namespace
}  // namespace emailservice::testing
