// The outbox's durability, proven by a fault after every step of its storage layer: a power cut
// that drops or tears whatever was not made durable, or a full device (MemoryFiles); a process
// killed at every step on the real file system (FaultyFiles); clocks across reboots, and the
// retry's waits.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

using ::testing::HasSubstr;

std::string const kRoot = "/outbox";
OutboxStore::Bounds const kBounds{3, std::uint64_t{1} << 30};
OutboxStore::Arrival const kRefused{true, "refused", "", false, 0};

// An alarm of configuration `id` whose body names it, with one attachment, in directory `work`.
ComposedEmail alarm(std::string const& id, std::string const& body, std::string const& work = "/work/") {
  ComposedEmail email{id, "Office " + id, "Alarm " + body, "ops@example.com", work + body + ".txt", {}, {}, ""};
  email.setAttachments({work + "logAlarm.csv"});
  return email;
}

// The card's mail command, recorded: how often each body was handed over; with the relay down,
// refused.
class Relay {
 public:
  explicit Relay(simcard::SimulatedCard& card) {
    card.setCommandHook([this](std::vector<std::string> const&, std::string const& input, std::string& printed) {
      printed = down ? "sendemail: Could not send the message\n" : "";
      delivered[input] += down ? 0 : 1;
      return 0;
    });
  }
  bool down = false;
  std::map<std::string, int> delivered;
};

// An outbox over `files`, open for `use`.
struct Opened {
  Opened(OutboxFiles& files, std::string const& root, OutboxStore::Use use, OutboxStore::Bounds bounds = kBounds)
      : store(files, root, bounds) {
    std::string why;
    EXPECT_TRUE(store.open(use, why)) << why;
  }
  OutboxStore store;
};

void keep(MemoryFiles& files, OutboxStore::Bounds bounds, ComposedEmail const& email) {
  Opened(files, kRoot, OutboxStore::Use::Create, bounds).store.keep(email, kRefused);
}

void retry(OutboxFiles& files, std::string const& root = kRoot, std::int64_t wait = 0,
           OutboxRetry::Trigger trigger = OutboxRetry::Trigger::Event) {
  Opened opened(files, root, OutboxStore::Use::Change);
  OutboxRetry(opened.store, trigger, wait).run();
}

// The kept e-mails that a fresh outbox finds, by their bodies; each must be whole.
std::vector<std::string> wholeEmails(OutboxFiles& files, std::string const& root) {
  std::vector<std::string> bodies;
  OutboxStore store(files, root, kBounds);
  std::string why;
  for (auto const& sequence : store.open(OutboxStore::Use::Read, why) ? store.list() : std::vector<std::string>{}) {
    KeptEmail email;
    ComposedEmail composed;
    EXPECT_TRUE(store.read(sequence, email, why) && store.composed(sequence, email, composed, why)) << why;
    bodies.push_back(composed.body.value_or("?"));
    EXPECT_EQ(composed.subject, "Alarm " + bodies.back().substr(0, 1));
  }
  return bodies;
}

// The work files of alarms A, B and C, outside the outbox.
void putWorkFiles(MemoryFiles& files) {
  for (auto const* body : {"A", "B", "C"}) {
    files.putExternal(std::string("/work/") + body + ".txt", body);
  }
  files.putExternal("/work/logAlarm.csv", "alarms");
}

// A phase of the outbox's work: what is kept before it, the work, and what it leaves kept.
struct Phase {
  char const* name;
  std::vector<char const*> keptBefore;
  std::function<void(MemoryFiles&, Relay&)> work;
  std::vector<std::string> leftAfterWork;
};

enum class Fault { Dropped, Torn, Full };

using DurabilityTest = CardTest;

// For every step of each phase and every fault: a fresh outbox finds every e-mail whole or not at
// all; the next pass delivers every kept e-mail once more where its removal had not been made
// durable and never twice otherwise, and cleans up the rest, with one card log entry for each keep
// that a cut lost. A full device loses no e-mail that was kept, and a new alarm wins over the
// oldest kept one.
TEST_F(DurabilityTest, EveryStepOfTheOutboxOutlivesAPowerCutOrAFullDevice) {
  OutboxStore::Bounds const two{2, std::uint64_t{1} << 30};
  Phase const phases[] = {
      {"keeping", {"A", "B"}, [](MemoryFiles& f, Relay&) { keep(f, kBounds, alarm("9", "C")); }, {"A", "B", "C"}},
      {"sending again", {"A", "B"}, [](MemoryFiles& f, Relay&) { retry(f); }, {}},
      {"counting a failed attempt",
       {"A", "B"},
       [](MemoryFiles& f, Relay& relay) {
         relay.down = true;
         retry(f);
       },
       {"A", "B"}},
      {"dropping the oldest", {"A", "B"}, [two](MemoryFiles& f, Relay&) { keep(f, two, alarm("9", "C")); }, {"B", "C"}},
      {"giving up",
       {"A"},
       [](MemoryFiles& f, Relay& relay) {
         relay.down = true;
         for (int attempt = 1; attempt < settings::kOutboxMaxAttempts; ++attempt) {
           retry(f);
         }
       },
       {}},
  };
  for (auto const& phase : phases) {
    for (Fault const fault : {Fault::Dropped, Fault::Torn, Fault::Full}) {
      for (std::size_t step = 1;; ++step) {
        SCOPED_TRACE(std::string(phase.name) + ", fault " + std::to_string(static_cast<int>(fault)) + " at step " +
                     std::to_string(step));
        card().reset();
        MemoryFiles files;
        putWorkFiles(files);
        Relay relay(card());
        for (std::size_t i = 0; i < phase.keptBefore.size(); ++i) {
          keep(files, kBounds, alarm(std::to_string(i + 1), phase.keptBefore[i]));
        }
        std::size_t const logged = card().cardLog().size();
        std::size_t const start = files.steps();
        (fault == Fault::Full ? files.fullAt(start + step) : files.cutAfter(start + step));
        bool ended = false;
        try {
          phase.work(files, relay);
          ended = fault != Fault::Full || files.steps() < start + step;
        } catch (PowerCut const&) {
        }
        files.powerCut(fault == Fault::Torn);
        auto const sentBefore = relay.delivered;
        std::vector<std::string> const found = wholeEmails(files, kRoot);
        std::vector<std::string> const names = files.namesIn(kRoot);
        auto const lostKeeps =
            std::count_if(names.begin(), names.end(), [](auto const& n) { return n.rfind(".keep-", 0) == 0; });
        EXPECT_TRUE(!ended || found == phase.leftAfterWork);
        bool const keeps = std::count(phase.leftAfterWork.begin(), phase.leftAfterWork.end(), "C") > 0;
        EXPECT_TRUE(fault != Fault::Full || !keeps || std::count(found.begin(), found.end(), "C") == 1)
            << "the new alarm was not kept";
        relay.down = false;
        retry(files);
        for (auto const* body : {"A", "B", "C"}) {
          int const before = sentBefore.count(body) ? sentBefore.at(body) : 0;
          EXPECT_LE(before, 1) << body;
          EXPECT_EQ(relay.delivered[body], before + std::count(found.begin(), found.end(), body)) << body;
        }
        EXPECT_THAT(files.namesIn(kRoot), ::testing::IsEmpty()) << "the pass left something behind";
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

// A process killed at every step of keeping on the real file system: what is kept is whole, and
// a keep that was not killed kept its e-mail.
TEST_F(DurabilityTest, AKillAtEveryStepOfKeepingLeavesWholeEmailsOnly) {
  std::string const work = paths::kWorkDirectory;
  std::string const root = work + "killed";
  writeFile(work + "C.txt", "C" + std::string(64 * 1024, 'c'));
  writeFile(work + "logAlarm.csv", std::string(32 * 1024, 'l'));
  for (std::size_t kill = 1;; ++kill) {
    SCOPED_TRACE("killed at step " + std::to_string(kill));
    pid_t const child = fork();
    if (child == 0) {
      FaultyFiles files;
      files.beforeChange = [kill](std::size_t step, std::string const&) { return step == kill ? ::raise(SIGKILL) : 0; };
      Opened(files, root, OutboxStore::Use::Create).store.keep(alarm("9", "C", work), kRefused);
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    std::vector<std::string> const found = wholeEmails(OutboxFiles::system(), root);
    EXPECT_EQ(found, std::vector<std::string>(found.size(), "C" + std::string(64 * 1024, 'c')));
    std::filesystem::remove_all(root);
    if (WIFEXITED(status)) {
      EXPECT_EQ(found.size(), 1U);
      EXPECT_GT(kill, 10U);
      break;
    }
  }
}

// A wall clock before 1970 or after 2038 is a time like any other; the age bound counts the time
// the system was up since the e-mail was kept, across reboots, whatever the wall clock says.
TEST_F(DurabilityTest, TheAgeCountsTheTimeUpAcrossRebootsAndAnyWallClock) {
  MemoryFiles files;
  putWorkFiles(files);
  Relay relay(card());
  relay.down = true;
  std::int64_t const maxAge = settings::kOutboxMaxAgeSeconds;
  files.currentWallSeconds = -86400;  // 1969-12-31
  keep(files, kBounds, alarm("1", "A"));
  files.currentBootSeconds += maxAge - 100;
  files.currentWallSeconds = std::int64_t{4} << 31;  // 2106
  retry(files);                                      // age max - 100: tried again
  files.currentBootId = "boot-2";
  files.currentBootSeconds = 60;  // a reboot: the boot clock starts again
  files.currentWallSeconds = 0;
  retry(files);  // age max - 40
  KeptEmail kept;
  std::string why;
  ASSERT_TRUE(Opened(files, kRoot, OutboxStore::Use::Read).store.read("0000000001", kept, why)) << why;
  EXPECT_EQ(kept.firstAttempt, -86400);
  EXPECT_EQ(kept.attempts, 3);
  EXPECT_EQ(kept.ageAt("boot-2", 99), maxAge - 1);
  files.currentBootSeconds = 100;
  retry(files);
  EXPECT_THAT(outboxEntries().back(),
              HasSubstr("given up after 3 attempt(s): kept more than " + std::to_string(maxAge) + " s ago"));
}

// A timer's pass waits after each failure, twice as long each time (the relay is not asked every
// second, and the attempts last); an event's pass tries at once.
TEST_F(DurabilityTest, ATimerWaitsLongerAfterEachFailureAnEventTriesAtOnce) {
  MemoryFiles files;
  putWorkFiles(files);
  Relay relay(card());
  relay.down = true;
  keep(files, kBounds, alarm("1", "A"));  // due at once
  auto retriedAt = [&files](std::int64_t second, OutboxRetry::Trigger trigger, std::int64_t wait = 60) {
    files.currentBootSeconds = 1000 + second;
    retry(files, kRoot, wait, trigger);
    KeptEmail kept;
    std::string why;
    EXPECT_TRUE(Opened(files, kRoot, OutboxStore::Use::Read).store.read("0000000001", kept, why)) << why;
    return kept;
  };
  using Trigger = OutboxRetry::Trigger;
  // After failed attempt n the wait is the first wait times 2 to the n - 1, an hour at most.
  EXPECT_EQ(retriedAt(0, Trigger::Timer).attempts, 2);  // next at 0 + 120
  EXPECT_EQ(retriedAt(119, Trigger::Timer).attempts, 2);
  EXPECT_EQ(retriedAt(120, Trigger::Timer).attempts, 3);  // next at 120 + 240
  EXPECT_EQ(retriedAt(359, Trigger::Timer).attempts, 3);
  KeptEmail const fourth = retriedAt(359, Trigger::Event, 1000);  // at once
  EXPECT_EQ(fourth.attempts, 4);
  EXPECT_EQ(fourth.due, 359 + 3600);  // next in an hour, not 1000 s times 8
}

}  // namespace
}  // namespace emailservice::testing
