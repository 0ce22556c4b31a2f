// The system logs' copies: the date cut on real files where the corpus replay of
// fuzz/corpus/tail/ cannot reach (lines longer than the reader's 1 MiB buffer, sources and
// outputs that are not plain files), and the card's count cut script.
#include "logfiles/SystemEventLogFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "CardPaths.h"
#include "support/CardTest.h"
#include "zorvan/Exec.h"

namespace emailservice::testing {
namespace {

using namespace std::string_literals;

std::string const kHeader = "Date,Level,Message\n";
std::string const kLast = "2024-05-01T12:00:00.000,Info,User admin logged out\n";
constexpr long kTen = 1714557600;  // 2024-05-01T10:00:00Z
constexpr long kEleven = kTen + 3600;

std::string logPath(char const* name) { return std::string(paths::kSystemLogDirectory) + name; }
std::string copyPath(char const* name) { return std::string(paths::kWorkDirectory) + name; }

class SystemEventLogFileTest : public CardTest {
 protected:
  SystemEventLogFile logs{paths::kWorkDirectory};
};

// A line longer than the buffer is dropped or copied whole. Its stamp is read from its start,
// across any number of blanks and never past its line feed.
TEST_F(SystemEventLogFileTest, LinesLongerThanTheBufferAreDroppedOrCopiedWhole) {
  std::string const older = "2024-05-01T10:00:00.0,Info," + std::string(3 << 20, 'y');
  std::string const blanks(3 << 20, ' ');
  std::string const spread = "2024-05-01T11:" + blanks + "00:" + std::string(3 << 20, '\t') + "00";
  std::string const cutByItsEnd = "2024-05-01T11:00:" + blanks + "\n" + blanks + "00.0,Info,next\n";
  struct Case {
    std::string log;
    long fromTime;
    std::string copy;
  };
  Case const cases[] = {
      {kHeader + older + "\n" + kLast, kEleven, kHeader + kLast},              // skipped to its line feed
      {kHeader + older + "\n" + kLast, kTen, kHeader + older + "\n" + kLast},  // stamped at the start: kept
      {kHeader + spread + ".0,Info\n" + kLast, kEleven, kHeader + spread + ".0,Info\n" + kLast},
      {kHeader + cutByItsEnd + kLast, kEleven, kHeader + kLast},  // no stamp before its end
      {kHeader + older, kEleven, kHeader + older + "\n"},         // the end of the input
      {older + "\n" + kLast, 0, older + "\n" + kLast},            // a header that long
  };
  for (auto const& c : cases) {
    writeFile(logPath("logSystem.csv"), c.log);
    logs.tailFromDate("logSystem.csv", c.fromTime);
    EXPECT_TRUE(readFile(copyPath("logSystem.csv")) == c.copy) << "case " << &c - cases;
  }
}

// Each log's copy when its source or its output is not a plain file; the cut still reports 0.
TEST_F(SystemEventLogFileTest, CopyIsLeftAloneRewrittenOrRemovedWhenItsSourceOrOutputFails) {
  writeFile(copyPath("logUpdate.csv"), "earlier\n");  // source missing: the earlier copy stays
  writeFile(copyPath("logSystem.csv"), "earlier\n");  // source a directory: a read error ends it
  std::filesystem::create_directory(logPath("logSystem.csv"));
  writeFile(logPath("logAccount.csv"), kHeader + kLast);  // output a directory: not written
  std::filesystem::create_directories(copyPath("logAccount.csv") + "/inside");
  writeFile(logPath("logSession.csv"), kHeader + kLast);  // a write fails: the copy is removed
  std::filesystem::create_symlink("/dev/full", copyPath("logSession.csv"));
  EXPECT_EQ(logs.generateFilesFromDate(0), 0);
  EXPECT_EQ(readFile(copyPath("logUpdate.csv")), "earlier\n");
  EXPECT_EQ(readFile(copyPath("logSystem.csv")), "\n\n");
  EXPECT_TRUE(std::filesystem::is_directory(copyPath("logAccount.csv") + "/inside"));
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(copyPath("logSession.csv"))));
}

// A log that never ends a line, not even its header, is cut in bounded memory: in a child whose
// address space may grow by 256 MiB at most, the input ends where the header reaches 1 MiB.
TEST_F(SystemEventLogFileTest, LogLinkedToDevZeroIsCutInBoundedMemory) {
  std::filesystem::create_symlink("/dev/zero", logPath("logSystem.csv"));
  pid_t const child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit const limit{static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE) + (256 << 20)), RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
    alarm(60);  // an endless cut fails the test instead of hanging it
    try {
      logs.tailFromDate("logSystem.csv", kTen);
    } catch (...) {
      _exit(1);  // never back into the test program's own flow
    }
    _exit(0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  EXPECT_TRUE(readFile(copyPath("logSystem.csv")) == std::string(1 << 20, '\0') + "\n\n");
}

// The card's count cut script, run for real on the same logs by each row: the header and the
// last COUNT lines of each log, bytes unchanged, or a failure status with a message and no copy.
TEST_F(SystemEventLogFileTest, CountScriptCopiesTheHeaderAndTheLastLinesOrFailsWithItsStatus) {
  std::string const work = paths::kWorkDirectory;
  std::string const system = "Y\r\ny1\r\ny2 \0 nul\r\ny3 no feed"s;
  std::string const session = "S\na\nb\nc\nd\ne\nf\ng\nh\ni\nj\nk\n";
  writeFile(logPath("logSystem.csv"), system);
  writeFile(logPath("logSession.csv"), session);
  writeFile(logPath("logAccount.csv"), "");
  writeFile(work + "logUpdate.csv", "earlier\n");  // its log is missing
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string system;  // the copies of logSystem.csv and logSession.csv when the status is 0
    std::string session;
  };
  Case const cases[] = {{{work, "2"}, 0, "Y\r\ny2 \0 nul\r\ny3 no feed"s, "S\nj\nk\n"},
                        {{work, "0"}, 0, "Y\r\n", "S\n"},
                        {{work, "99999999999999999999999"}, 0, system, session},
                        {{work, "-1"}, 2, "", ""},
                        {{work}, 2, "", ""},
                        {{work + "missing/", "5"}, 1, "", ""}};

  for (auto c : cases) {
    for (char const* name : {"logSystem.csv", "logSession.csv", "logAccount.csv"}) {
      std::filesystem::remove(work + name);
    }
    c.args.insert(c.args.begin(), std::string(SIMCARD_BIN_DIR) + "/tailLogFiles.sh");
    std::stringstream errors;
    EXPECT_EQ(zorvan::exec(c.args, "", 30, nullptr, &errors), c.status) << c.args.back();
    EXPECT_EQ(errors.str().empty(), c.status == 0) << c.args.back() << ": " << errors.str();
    EXPECT_EQ(readFile(work + "logSystem.csv") + "|" + readFile(work + "logSession.csv"), c.system + "|" + c.session)
        << c.args.back();
    EXPECT_EQ(fileExists(work + "logAccount.csv"), c.status == 0) << "an empty log gives an empty copy";
  }
  EXPECT_EQ(readFile(work + "logUpdate.csv"), "earlier\n");
  // Through the library, found on the PATH: a copy that cannot be put in place keeps what it was,
  // the others are made, and the script's failure status is not checked.
  std::filesystem::create_directories(work + "logSystem.csv/inside");
  EXPECT_EQ(logs.generateFiles(1), 0);
  EXPECT_EQ(readFile(work + "logSession.csv"), "S\nk\n");
  EXPECT_TRUE(std::filesystem::is_directory(work + "logSystem.csv/inside"));
  EXPECT_FALSE(std::filesystem::exists(work + "logSystem.csv.part"));
}

}  // namespace
}  // namespace emailservice::testing
