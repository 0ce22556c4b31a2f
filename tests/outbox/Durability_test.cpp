// The outbox's durability, proven by cutting the power after every step of its storage layer
// (MemoryFiles drops, or tears, whatever was not made durable), by killing the process at every
// step on the real file system, and by a full device, a failed update, a clock before 1970 and
// reboots (FaultyFiles).
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "BuildSettings.h"
#include "CardPaths.h"
#include "outbox/FaultyFiles.h"
#include "outbox/MemoryFiles.h"
#include "outbox/OutboxChecks.h"
#include "outbox/OutboxRetry.h"
#include "outbox/OutboxStore.h"
#include "support/CardTest.h"

namespace emailservice::testing {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

std::string const kRoot = "/outbox";
OutboxStore::Bounds const kBounds{3, std::uint64_t{1} << 30};

// An alarm of configuration `id` whose body names it, with one attachment.
ComposedEmail alarm(std::string const& id, std::string const& body) {
  ComposedEmail email{id, "Office " + id, "Alarm " + body, "ops@example.com", "/work/" + body + ".txt", {}, {}, ""};
  email.setAttachments({"/work/logAlarm.csv"});
  return email;
}

// The card's mail command, recorded: the body of every e-mail it handed over (or, with the relay
// down, refused).
class Relay {
 public:
  explicit Relay(simcard::SimulatedCard& card) {
    card.setCommandHook([this](std::vector<std::string> const&, std::string const& input, std::string& printed) {
      printed = down ? "sendemail: Could not send the message\n" : "";
      if (!down) {
        ++delivered[input];
      }
      return 0;
    });
  }
  bool down = false;
  std::map<std::string, int> delivered;
};

// One storage step after another, for a phase of the outbox's work over MemoryFiles.
class PowerCutTest : public CardTest {
 protected:
  void prepare(MemoryFiles& files) {
    for (auto const* body : {"A", "B", "C", "D"}) {
      files.putExternal(std::string("/work/") + body + ".txt", body);
    }
    files.putExternal("/work/logAlarm.csv", "alarms");
  }

  static void keep(MemoryFiles& files, OutboxStore::Bounds limits, ComposedEmail const& email) {
    OutboxStore store(files, kRoot, limits);
    std::string why;
    ASSERT_TRUE(store.open(OutboxStore::Use::Create, why)) << why;
    store.keep(email, {true, "refused", "", false, 0});
  }

  static void retry(MemoryFiles& files, OutboxStore::Bounds limits) {
    OutboxStore store(files, kRoot, limits);
    std::string why;
    ASSERT_TRUE(store.open(OutboxStore::Use::Change, why)) << why;
    OutboxRetry(store, OutboxRetry::Trigger::Event).run();
  }

  // What a fresh outbox finds after the cut: every kept e-mail whole, by its body.
  std::vector<std::string> wholeEmails(MemoryFiles& files) const {
    std::vector<std::string> bodies;
    OutboxStore store(files, kRoot, kBounds);
    std::string why;
    if (!store.open(OutboxStore::Use::Read, why)) {
      return bodies;
    }
    for (auto const& sequence : store.list()) {
      KeptEmail email;
      ComposedEmail composed;
      EXPECT_TRUE(store.read(sequence, email, why) && store.composed(sequence, email, composed, why))
          << sequence << ": " << why;
      bodies.push_back(composed.body.value_or("?"));
      EXPECT_EQ(composed.subject, "Alarm " + bodies.back());
    }
    return bodies;
  }
};

// A phase of the outbox's work: what is kept before it (not cut), and the work that is cut.
struct Phase {
  char const* name;
  std::vector<char const*> keptBefore;
  std::function<void(PowerCutTest&, MemoryFiles&, Relay&)> work;
  // The bodies that the whole phase, when it ends, leaves to be delivered by the next pass.
  std::vector<std::string> leftAfterWork;
};

// For every step of each phase, both ways a cut can go (what was not synced dropped, or half of it
// kept): a fresh outbox finds every e-mail whole or not at all; the next pass delivers every kept
// e-mail once more where its removal had not been made durable and never twice otherwise, and
// cleans up the rest, with one card log entry for each keep that the cut lost.
TEST_F(PowerCutTest, EveryStepOfTheOutboxOutlivesAPowerCut) {
  OutboxStore::Bounds const full{2, std::uint64_t{1} << 30};
  Phase const phases[] = {
      {"keeping",
       {"A", "B"},
       [](PowerCutTest&, MemoryFiles& f, Relay&) { keep(f, kBounds, alarm("9", "C")); },
       {"A", "B", "C"}},
      {"sending again", {"A", "B"}, [](PowerCutTest&, MemoryFiles& f, Relay&) { retry(f, kBounds); }, {}},
      {"counting a failed attempt",
       {"A", "B"},
       [](PowerCutTest&, MemoryFiles& f, Relay& relay) {
         relay.down = true;
         retry(f, kBounds);
       },
       {"A", "B"}},
      {"dropping the oldest",
       {"A", "B"},
       [full](PowerCutTest&, MemoryFiles& f, Relay&) { keep(f, full, alarm("9", "C")); },
       {"B", "C"}},
      {"giving up",
       {"A"},
       [](PowerCutTest&, MemoryFiles& f, Relay& relay) {
         relay.down = true;
         for (int attempt = 1; attempt < settings::kOutboxMaxAttempts; ++attempt) {
           retry(f, kBounds);
         }
       },
       {}},
  };
  for (auto const& phase : phases) {
    for (bool const tear : {false, true}) {
      for (std::size_t cut = 1;; ++cut) {
        SCOPED_TRACE(std::string(phase.name) + (tear ? ", torn" : ", dropped") + ", cut after step " +
                     std::to_string(cut));
        card().reset();
        MemoryFiles files;
        prepare(files);
        Relay relay(card());
        for (std::size_t i = 0; i < phase.keptBefore.size(); ++i) {
          keep(files, kBounds, alarm(std::to_string(i + 1), phase.keptBefore[i]));
        }
        std::size_t const logged = card().cardLog().size();
        files.cutAfter(files.steps() + cut);
        bool ended = false;
        try {
          phase.work(*this, files, relay);
          ended = true;
        } catch (PowerCut const&) {
        }
        files.powerCut(tear);
        auto const sentBefore = relay.delivered;
        std::vector<std::string> const names = files.namesIn(kRoot);
        auto const lostKeeps =
            std::count_if(names.begin(), names.end(), [](auto const& n) { return n.rfind(".keep-", 0) == 0; });
        std::vector<std::string> const found = wholeEmails(files);
        if (ended) {
          EXPECT_EQ(found, phase.leftAfterWork);
        }
        relay.down = false;
        retry(files, kBounds);
        for (auto const& body : {"A", "B", "C"}) {
          int const before = sentBefore.count(body) ? sentBefore.at(body) : 0;
          bool const kept = std::count(found.begin(), found.end(), body) > 0;
          EXPECT_EQ(relay.delivered[body], before + (kept ? 1 : 0)) << body;
          EXPECT_LE(before, 1) << body;
        }
        EXPECT_THAT(files.namesIn(kRoot), ::testing::IsEmpty()) << "the pass left something behind";
        // What the cut left of a keep is cleaned up with one entry each.
        auto const& log = card().cardLog();
        EXPECT_EQ(std::count_if(log.begin() + static_cast<std::ptrdiff_t>(logged), log.end(),
                                [](auto const& entry) { return entry.message.find("cut short") != std::string::npos; }),
                  lostKeeps);
        if (ended) {
          break;
        }
      }
    }
  }
}

// The same for a process killed at every step of keeping on the real file system: what is kept
// is whole, and a keep that was not killed kept its e-mail.
TEST_F(PowerCutTest, AKillAtEveryStepOfKeepingLeavesWholeEmailsOnly) {
  std::string const work = paths::kWorkDirectory;
  std::string const root = work + "killed";
  writeFile(work + "C.txt", std::string(64 * 1024, 'C'));
  writeFile(work + "logAlarm.csv", std::string(32 * 1024, 'l'));
  ComposedEmail email = alarm("9", "C");
  email.bodyFile = work + "C.txt";
  email.setAttachments({work + "logAlarm.csv"});
  for (std::size_t kill = 1;; ++kill) {
    SCOPED_TRACE("killed at step " + std::to_string(kill));
    pid_t const child = fork();
    if (child == 0) {
      FaultyFiles files;
      files.beforeChange = [kill](std::size_t step, std::string const&) {
        if (step == kill) {
          ::raise(SIGKILL);
        }
        return 0;
      };
      OutboxStore store(files, root, {3, std::uint64_t{1} << 30});
      std::string why;
      store.open(OutboxStore::Use::Create, why);
      store.keep(email, {true, "refused", "", false, 0});
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    OutboxStore store(OutboxFiles::system(), root, {3, std::uint64_t{1} << 30});
    std::string why;
    std::size_t whole = 0;
    if (store.open(OutboxStore::Use::Read, why)) {
      for (auto const& sequence : store.list()) {
        KeptEmail kept;
        ComposedEmail composed;
        ASSERT_TRUE(store.read(sequence, kept, why) && store.composed(sequence, kept, composed, why)) << why;
        ASSERT_EQ(composed.body, std::string(64 * 1024, 'C'));
        ASSERT_EQ(readFile(composed.attachments.at(0)), std::string(32 * 1024, 'l'));
        ++whole;
      }
    }
    std::filesystem::remove_all(root);
    if (WIFEXITED(status)) {
      EXPECT_EQ(whole, 1U);
      EXPECT_GT(kill, 10U);
      break;
    }
  }
}

// A full device at any step of keeping: the newest alarm wins, the oldest kept e-mail is dropped
// to make room, with an entry.
TEST_F(PowerCutTest, AFullDeviceAtAnyStepDropsTheOldestForTheNewest) {
  std::string const work = paths::kWorkDirectory;
  std::string const root = work + "full";
  for (auto const* body : {"A", "B", "C"}) {
    writeFile(work + body + ".txt", body);
  }
  writeFile(work + "logAlarm.csv", "alarms");
  auto withPaths = [&work](std::string const& id, std::string const& body) {
    ComposedEmail email = alarm(id, body);
    email.bodyFile = work + body + ".txt";
    email.setAttachments({work + "logAlarm.csv"});
    return email;
  };
  for (std::size_t full = 1;; ++full) {
    SCOPED_TRACE("full at step " + std::to_string(full));
    card().reset();
    std::filesystem::remove_all(root);
    FaultyFiles files;
    std::string why;
    {
      OutboxStore store(files, root, {3, std::uint64_t{1} << 30});
      ASSERT_TRUE(store.open(OutboxStore::Use::Create, why)) << why;
      store.keep(withPaths("1", "A"), {true, "refused", "", false, 0});
      store.keep(withPaths("2", "B"), {true, "refused", "", false, 0});
    }
    std::size_t const start = files.steps();
    bool refused = false;
    files.beforeChange = [&](std::size_t step, std::string const& change) {
      bool const now = step == start + full && change != "remove" && change != "rename";
      refused = refused || now;
      return now ? ENOSPC : 0;
    };
    OutboxStore store(files, root, {3, std::uint64_t{1} << 30});
    ASSERT_TRUE(store.open(OutboxStore::Use::Change, why)) << why;
    store.keep(withPaths("3", "C"), {true, "refused", "", false, 0});
    std::vector<std::string> subjects;
    for (auto const& sequence : store.list()) {
      KeptEmail kept;
      ASSERT_TRUE(store.read(sequence, kept, why)) << why;
      subjects.push_back(kept.subject);
    }
    auto const entries = outboxEntries();
    auto const drops = std::count(entries.begin(), entries.end(),
                                  "44: Email for Office 1 configuration dropped from the outbox: the storage is full");
    EXPECT_EQ(std::count(subjects.begin(), subjects.end(), "Alarm C"), 1);
    EXPECT_EQ(subjects.back(), "Alarm C");
    EXPECT_EQ(subjects.size() + static_cast<std::size_t>(drops), 3U);
    if (!refused) {
      EXPECT_EQ(drops, 0);
      break;
    }
  }
}

// A record that cannot be updated still counts the attempt: the e-mail is given up rather than
// tried forever at the same count; a record update left behind by a crash is the outbox's own.
TEST_F(PowerCutTest, AFailedAttemptIsCountedOrTheEmailGivenUp) {
  MemoryFiles files;
  prepare(files);
  Relay relay(card());
  relay.down = true;
  keep(files, kBounds, alarm("1", "A"));
  retry(files, kBounds);
  EXPECT_THAT(outboxEntries(),
              Contains(HasSubstr("41: Kept email for Office 1 configuration not sent again (attempt 2)")));

  std::string const root = std::string(paths::kWorkDirectory) + "update";
  writeFile(std::string(paths::kWorkDirectory) + "A.txt", "A");
  writeFile(std::string(paths::kWorkDirectory) + "logAlarm.csv", "alarms");
  ComposedEmail email = alarm("1", "A");
  email.bodyFile = std::string(paths::kWorkDirectory) + "A.txt";
  email.setAttachments({std::string(paths::kWorkDirectory) + "logAlarm.csv"});
  FaultyFiles faulty;
  std::string why;
  {
    OutboxStore store(faulty, root, kBounds);
    ASSERT_TRUE(store.open(OutboxStore::Use::Create, why)) << why;
    store.keep(email, {true, "refused", "", false, 0});
  }
  writeFile(root + "/0000000001/email.new", "left by a crash");
  {
    OutboxStore store(faulty, root, kBounds);
    ASSERT_TRUE(store.open(OutboxStore::Use::Change, why)) << why;
    OutboxRetry(store, OutboxRetry::Trigger::Event).run();
    KeptEmail kept;
    ASSERT_TRUE(store.read("0000000001", kept, why)) << why;
    EXPECT_EQ(kept.attempts, 2);
  }
  faulty.beforeChange = [](std::size_t, std::string const& change) { return change == "create" ? ENOSPC : 0; };
  OutboxStore store(faulty, root, kBounds);
  ASSERT_TRUE(store.open(OutboxStore::Use::Change, why)) << why;
  OutboxRetry(store, OutboxRetry::Trigger::Event).run();
  EXPECT_TRUE(store.list().empty());
  EXPECT_THAT(outboxEntries().back(),
              HasSubstr("43: Kept email for Office 1 configuration given up after 3 attempt(s): the attempt cannot be "
                        "counted: No space left on device"));
}

// A wall clock before 1970 or after 2038 is a time like any other; the age bound counts the time
// the system was up since the first attempt across reboots, whatever the wall clock says.
TEST_F(PowerCutTest, TheAgeCountsTheTimeUpAcrossRebootsAndAnyWallClock) {
  MemoryFiles files;
  prepare(files);
  Relay relay(card());
  relay.down = true;
  std::int64_t const maxAge = settings::kOutboxMaxAgeSeconds;
  files.currentWallSeconds = -86400;  // 1969-12-31
  keep(files, kBounds, alarm("1", "A"));
  files.currentBootSeconds += maxAge - 100;
  files.currentWallSeconds = std::int64_t{4} << 31;  // 2106
  retry(files, kBounds);                             // age max - 100: tried again
  files.currentBootId = "boot-2";
  files.currentBootSeconds = 60;  // a reboot: the boot clock starts again
  files.currentWallSeconds = 0;
  retry(files, kBounds);  // age max - 40
  OutboxStore store(files, kRoot, kBounds);
  std::string why;
  ASSERT_TRUE(store.open(OutboxStore::Use::Read, why)) << why;
  KeptEmail kept;
  ASSERT_TRUE(store.read("0000000001", kept, why)) << why << ::testing::PrintToString(outboxEntries());
  EXPECT_EQ(kept.firstAttempt, -86400);
  EXPECT_EQ(kept.attempts, 3);
  EXPECT_EQ(kept.ageAt("boot-2", 99), maxAge - 1);
  files.currentBootSeconds = 100;
  retry(files, kBounds);
  EXPECT_THAT(outboxEntries().back(),
              HasSubstr("given up after 3 attempt(s): kept more than " + std::to_string(maxAge) + " s ago"));
  EXPECT_THAT(outboxEntries(), Contains(HasSubstr("not sent again (attempt 3)")));
}

// A timer's pass waits after each failure, twice as long each time (the relay is not asked every
// second, and the attempts last); an event's pass tries at once.
TEST_F(PowerCutTest, ATimerWaitsLongerAfterEachFailureAnEventTriesAtOnce) {
  MemoryFiles files;
  prepare(files);
  Relay relay(card());
  relay.down = true;
  keep(files, kBounds, alarm("1", "A"));
  auto attemptsAfter = [&files](std::int64_t second, OutboxRetry::Trigger trigger) {
    files.currentBootSeconds = 1000 + second;
    OutboxStore store(files, kRoot, kBounds);
    std::string why;
    EXPECT_TRUE(store.open(OutboxStore::Use::Change, why)) << why;
    OutboxRetry(store, trigger, 60).run();
    KeptEmail kept;
    EXPECT_TRUE(store.read("0000000001", kept, why)) << why;
    return kept.attempts;
  };
  using Trigger = OutboxRetry::Trigger;
  // Kept at second 0, due at once; after failed attempt n the wait is 60 s times 2 to the n - 1.
  EXPECT_EQ(attemptsAfter(0, Trigger::Timer), 2);  // next at 0 + 120
  EXPECT_EQ(attemptsAfter(119, Trigger::Timer), 2);
  EXPECT_EQ(attemptsAfter(120, Trigger::Timer), 3);  // next at 120 + 240
  EXPECT_EQ(attemptsAfter(359, Trigger::Timer), 3);
  EXPECT_EQ(attemptsAfter(359, Trigger::Event), 4);  // next at 359 + 480
  EXPECT_EQ(attemptsAfter(838, Trigger::Timer), 4);
}

}  // namespace
}  // namespace emailservice::testing
