// What a hostile or faulty file system can plant in the outbox, through the whole call and the
// real /bin/sh: the service deletes, reads, sends and waits on nothing outside what it kept, says
// what it found in the card's log, and goes on.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "emailservice/Outbox.h"
#include "outbox/OutboxChecks.h"
#include "support/RecordingMail.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::HasSubstr;

std::string const kWork = paths::kWorkDirectory;
std::string const kKept = kOutboxDirectory + "/0000000001";

// Every file under `directory` with its content, links and other files by what they are.
std::map<std::string, std::string> snapshot(fs::path const& directory) {
  std::map<std::string, std::string> found;
  for (auto const& entry : fs::recursive_directory_iterator(directory)) {
    auto const status = entry.symlink_status();
    found[entry.path().string()] = fs::is_regular_file(status) ? readFile(entry.path().string())
                                   : fs::is_symlink(status)    ? "link to " + fs::read_symlink(entry).string()
                                                               : "other";
  }
  return found;
}

struct Attack {
  char const* name;
  // Plants the attack; `victim` is a directory outside the outbox that holds a secret.
  void (*plant)(fs::path const& victim);
  // What the card's log must then hold.
  char const* entry;
  // The kept e-mail is still delivered.
  bool delivered;
};

void replaceWithLink(fs::path const& path, fs::path const& target) {
  fs::remove_all(path);
  fs::create_symlink(target, path);
}

void replaceWithNode(fs::path const& path, mode_t type) {
  fs::remove_all(path);
  ASSERT_EQ(::mknod(path.c_str(), type | 0644, type == S_IFCHR ? makedev(1, 3) : 0), 0);
}

Attack const kAttacks[] = {
    {"the outbox a link to another directory",
     [](fs::path const& victim) {
       fs::rename(kOutboxDirectory, victim / "moved");
       fs::create_symlink(victim / "moved", kOutboxDirectory);
     },
     "cannot open " /* ...: a link in its place */, false},
    {"a link in the outbox",
     [](fs::path const& victim) { fs::create_symlink(victim, kOutboxDirectory + "/0000000002"); },
     "Kept email 0000000002 dropped from the outbox: not a directory of the outbox", true},
    {"the body a link", [](fs::path const& victim) { replaceWithLink(kKept + "/body", victim / "secret"); },
     "dropped from the outbox: its body: not a regular file", false},
    {"an attachment a link",
     [](fs::path const& victim) { replaceWithLink(kKept + "/attachments/logAlarm.csv", victim / "secret"); },
     "dropped from the outbox: its attachment logAlarm.csv: not a regular file", false},
    {"the attachments a link to a directory",
     [](fs::path const& victim) { replaceWithLink(kKept + "/attachments", victim); },
     "dropped from the outbox: its attachments: not a directory", false},
    {"the record a FIFO", [](fs::path const&) { replaceWithNode(kKept + "/email", S_IFIFO); },
     "Kept email 0000000001 dropped from the outbox: its record: not a regular file", false},
    {"the body a FIFO", [](fs::path const&) { replaceWithNode(kKept + "/body", S_IFIFO); },
     "dropped from the outbox: its body: not a regular file", false},
    {"the body a device", [](fs::path const&) { replaceWithNode(kKept + "/body", S_IFCHR); },
     "dropped from the outbox: its body: not a regular file", false},
    {"the record a link to a record",
     [](fs::path const& victim) { replaceWithLink(kKept + "/email", victim / "email"); },
     "Kept email 0000000001 dropped from the outbox: its record: not a regular file", false},
};

using AttackTest = OutboxTest;

TEST_F(AttackTest, NothingPlantedInTheOutboxTurnsItAgainstTheCard) {
  fs::path const victim = fs::path(kOutboxDirectory).parent_path() / "victim";  // on the same device
  for (auto const& attack : kAttacks) {
    SCOPED_TRACE(attack.name);
    card().reset();
    storeConfigurations({"7"}, "ops@example.com", kOffice);
    fs::remove_all(kOutboxDirectory);
    fs::remove_all(victim);
    fs::remove(record + ".sent");
    fs::create_directories(victim);
    writeFile((victim / "secret").string(), "secret\n");
    setenv("HARDENING_FAULT", "refuse", 1);
    ASSERT_EQ(sendAlarm("kept"), ErrorCode::SendError);
    fs::copy_file(kKept + "/email", victim / "email");
    attack.plant(victim);
    auto const before = snapshot(victim);
    unsetenv("HARDENING_FAULT");
    Outbox::retry();
    EXPECT_EQ(sendAlarm("after"), ErrorCode::Success);
    EXPECT_EQ(snapshot(victim), before) << "something outside the outbox changed";
    std::string const sent = fileExists(record + ".sent") ? readFile(record + ".sent") : "";
    EXPECT_EQ(sent.find("other body"), std::string::npos) << "a body that is not the e-mail's own went out";
    EXPECT_EQ(sent.find("kept") != std::string::npos, attack.delivered) << sent;
    EXPECT_THAT(sent, HasSubstr(" - after: own body"));
    EXPECT_THAT(outboxEntries(), Contains(HasSubstr(attack.entry)));
    std::error_code none;
    fs::remove(kOutboxDirectory, none);  // the link of the first attack
  }
}

// A name that the outbox did not make is left alone, and named when an e-mail is kept; a number
// planted at the end of the sequence numbers' range makes the outbox number its e-mails again,
// in order, rather than lose them.
TEST_F(AttackTest, UnknownNamesAndTheLastSequenceNumberLoseNothing) {
  ASSERT_EQ(sendAlarm("first"), ErrorCode::SendError);
  fs::copy(kKept, kOutboxDirectory + "/9999999999", fs::copy_options::recursive);
  writeFile(kOutboxDirectory + "/notes.txt", "not the outbox's");
  ASSERT_EQ(sendAlarm("second"), ErrorCode::SendError);
  EXPECT_EQ(keptAlarms(), (std::vector<std::string>{"first", "first", "second"}));
  EXPECT_THAT(outboxEntries(), Contains("45: Outbox entries that are not its own left alone: notes.txt"));
  unsetenv("HARDENING_FAULT");
  EXPECT_EQ(Outbox::retry(), ErrorCode::Success);
  EXPECT_EQ(readFile(kOutboxDirectory + "/notes.txt"), "not the outbox's");
  EXPECT_THAT(readFile(record + ".sent"), HasSubstr("first: own body, logAlarm.csv\n"
                                                    " - Alarm - Active - Critical - first: own body, logAlarm.csv\n"
                                                    " - Alarm - Active - Critical - second: own body"));
}

// A record update that cannot be made (a directory where the outbox writes the new record) still
// counts the attempt: the e-mail is given up with an entry, rather than tried again and again at
// the same count.
TEST_F(AttackTest, AnAttemptThatCannotBeCountedGivesTheEmailUp) {
  ASSERT_EQ(sendAlarm("kept"), ErrorCode::SendError);
  fs::create_directories(kKept + "/email.new/planted");
  EXPECT_EQ(Outbox::retry(), ErrorCode::Success);  // nothing stays kept
  EXPECT_THAT(outboxEntries().back(), HasSubstr("given up after 2 attempt(s): the attempt cannot be counted: "));
  EXPECT_TRUE(Outbox::list().empty());
}

}  // namespace
}  // namespace emailservice::testing
