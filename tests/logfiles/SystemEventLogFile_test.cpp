#include "logfiles/SystemEventLogFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CardPaths.h"
#include "support/CardTest.h"

namespace emailservice {
namespace {

using namespace std::string_literals;
using testing::CardTest;
using testing::fileExists;
using testing::readFile;
using testing::writeFile;

constexpr char const kHeader[] = "Date,Level,Message\n";
constexpr char const kFirst[] = "2024-05-01T10:00:00.100,Info,User admin logged in from 192.168.1.10\n";
constexpr char const kSecond[] = "2024-05-01T11:00:00.900,Warning,Configuration changed\n";
constexpr char const kThird[] = "2024-05-01T12:00:00.000,Info,User admin logged out\n";
constexpr long kFirstTime = 1714557600;  // 2024-05-01T10:00:00Z
constexpr long kSecondTime = kFirstTime + 3600;
constexpr long kThirdTime = kFirstTime + 7200;

std::string sourcePath(std::string const& name) { return std::string(paths::kSystemLogDirectory) + name; }
std::string copyPath(std::string const& name) { return std::string(paths::kWorkDirectory) + name; }

class TailFromDate : public CardTest {
 protected:
  // Cuts `log` (as "logSystem.csv") from `fromTime` and returns the copy.
  std::string cut(std::string const& log, long fromTime) {
    writeFile(sourcePath("logSystem.csv"), log);
    logFile.tailFromDate("logSystem.csv", fromTime);
    return readFile(copyPath("logSystem.csv"));
  }

  SystemEventLogFile logFile{paths::kWorkDirectory};
};

struct CutCase {
  char const* behaviour;
  std::string log;
  long fromTime;
  std::string expected;
};

// Names the generated tests after the behaviour they check.
std::string caseName(::testing::TestParamInfo<CutCase> const& test) { return test.param.behaviour; }
void PrintTo(CutCase const& test, std::ostream* out) { *out << test.behaviour; }

class TailFromDateTable : public TailFromDate, public ::testing::WithParamInterface<CutCase> {};

TEST_P(TailFromDateTable, CopiesTheHeaderAndTheLinesFromTheFirstOneStampedAtOrAfterTheStart) {
  EXPECT_EQ(cut(GetParam().log, GetParam().fromTime), GetParam().expected);
}

std::string const kLog = kHeader + std::string(kFirst) + kSecond + kThird;

INSTANTIATE_TEST_SUITE_P(
    Cuts, TailFromDateTable,
    ::testing::Values(
        CutCase{"StartBeforeEveryLineKeepsTheWholeLog", kLog, kFirstTime - 1, kLog},
        CutCase{"LineStampedExactlyAtTheStartIsTheFirstCopied", kLog, kSecondTime,
                kHeader + std::string(kSecond) + kThird},
        CutCase{"FractionOfASecondIsIgnored", kLog, kSecondTime + 1, kHeader + std::string(kThird)},
        CutCase{"AllLinesOlderGiveTheHeaderAndAnEmptyLine", kLog, kThirdTime + 1, kHeader + "\n"s},
        CutCase{"HeaderOnlyGivesTheHeaderAndAnEmptyLine", kHeader, 0, kHeader + "\n"s},
        CutCase{"EmptyLogGivesTwoEmptyLines", "", 0, "\n\n"},
        CutCase{"HeaderWithoutLineFeedGetsOne", "Date,Level,Message", 0, kHeader + "\n"s},
        CutCase{"LaterLinesFollowWhateverTheirStamp",
                kHeader + std::string(kFirst) + kThird + kSecond + "not a stamp\n" + kFirst, kThirdTime,
                kHeader + std::string(kThird) + kSecond + "not a stamp\n" + kFirst},
        CutCase{"UnterminatedLastLineIsCopiedWithALineFeedEvenWhenOlder",
                kHeader + std::string(kFirst) + "2024-05-01T10:30:00.0,Info,last", kThirdTime,
                kHeader + "2024-05-01T10:30:00.0,Info,last\n"s},
        CutCase{"UnterminatedLastLineAfterTheStartStaysUnterminated", kHeader + std::string(kFirst) + kSecond + "tail",
                kFirstTime, kHeader + std::string(kFirst) + kSecond + "tail"},
        CutCase{"CrLfLinesAreCopiedUnchanged",
                "Date,Level\r\n2024-05-01T10:00:00.1,Info\r\n2024-05-01T11:00:00.1,Info\r\n", kSecondTime,
                "Date,Level\r\n2024-05-01T11:00:00.1,Info\r\n"},
        CutCase{"LineWithoutStampBeforeTheStartIsDropped", kHeader + "garbage before\n"s + kFirst + "\n" + kSecond,
                kSecondTime, kHeader + std::string(kSecond)},
        CutCase{"PartlyParsedStampTakesNoFieldFromAnEarlierLine",
                kHeader + std::string(kFirst) + "2024-06-01Tbroken,Info,x\n2024-06-01T10:00,Info,y\n" + kSecond,
                kSecondTime, kHeader + std::string(kSecond)},
        CutCase{"OutOfRangeMonthIsNotAStamp", kHeader + "2024-13-01T11:30:00.0,Info,x\n"s + kThird, kSecondTime,
                kHeader + std::string(kThird)},
        CutCase{"StampAfter2038IsADateNotAnErrorOrA1901Date",
                kHeader + std::string(kFirst) + "2038-01-19T03:14:08.0,Info,late\n", 2147483647L,
                kHeader + "2038-01-19T03:14:08.0,Info,late\n"s},
        CutCase{"StampWithoutFractionIsRead", kHeader + "2024-05-01T11:00:00,Info,no fraction\n"s, kSecondTime,
                kHeader + "2024-05-01T11:00:00,Info,no fraction\n"s},
        CutCase{"NulBytesAreCopiedUnchanged", kHeader + "2024-05-01T11:00:00.0,Info,a\0b\n"s + kThird, kSecondTime,
                kHeader + "2024-05-01T11:00:00.0,Info,a\0b\n"s + kThird},
        CutCase{"NulInsideTheStampEndsIt",
                kHeader +
                    "2024-05-01T11:\0"s
                    "00:00.0,Info\n"s +
                    kThird,
                kSecondTime, kHeader + std::string(kThird)},
        CutCase{"LineLongerThanTheLineBufferIsCopiedWhole",
                kHeader + "2024-05-01T11:00:00.0,Info,"s + std::string(1000, 'x') + "\n" + kThird, kSecondTime,
                kHeader + "2024-05-01T11:00:00.0,Info,"s + std::string(1000, 'x') + "\n" + kThird},
        CutCase{"LongOlderLineIsSkippedWhole",
                kHeader + "2024-05-01T10:00:00.0,Info,"s + std::string(1000, '2') + "\n" + kThird, kSecondTime,
                kHeader + std::string(kThird)}),
    caseName);

TEST_F(TailFromDate, MebibyteLinesAreSkippedOrCopiedWhole) {
  std::string const longLine = "2024-05-01T10:00:00.0,Info," + std::string(1 << 20, 'y');
  std::string const log = kHeader + longLine + "\n" + longLine + "\n" + kThird + longLine;
  EXPECT_EQ(cut(log, kThirdTime), kHeader + std::string(kThird) + longLine);
  EXPECT_EQ(cut(log, kFirstTime), log);
}

TEST_F(TailFromDate, ScanEndsAtTheEndOfAnInputOfLongLinesWithoutLineFeed) {
  std::string const log = kHeader + std::string(3 << 20, '9');
  EXPECT_EQ(cut(log, kFirstTime), kHeader + std::string(3 << 20, '9') + "\n");
}

TEST_F(TailFromDate, StampSpreadOverMoreBlanksThanTheBufferHoldsIsReadWhole) {
  std::string const blanks(3 << 20, ' ');
  std::string const spread = "2024-05-01T11:" + blanks + "\t00:" + blanks + "00.0,Info,spread";
  std::string const log = kHeader + spread + "\n" + kThird;
  EXPECT_EQ(cut(log, kSecondTime), log);
  EXPECT_EQ(cut(log, kSecondTime + 1), kHeader + std::string(kThird));
  std::string const broken = "2024-05-01T11:" + blanks + "00 :00.0,Info,broken\n";
  EXPECT_EQ(cut(kHeader + broken + kThird, kSecondTime), kHeader + std::string(kThird));
}

// A log made of `count` copies of each piece, in order.
struct Piece {
  std::string text;
  std::size_t count;
};
using Pieces = std::vector<Piece>;

// Writes the pieces without holding the file in memory.
void writePieces(std::string const& path, Pieces const& pieces) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  for (Piece const& piece : pieces) {
    for (std::size_t i = 0; i < piece.count; ++i) {
      out.write(piece.text.data(), static_cast<std::streamsize>(piece.text.size()));
    }
  }
  ASSERT_TRUE(out.good());
}

// Whether the file holds exactly the pieces, read without holding the file in memory.
bool holdsPieces(std::string const& path, Pieces const& pieces) {
  std::ifstream in(path, std::ios::binary);
  std::string read;
  for (Piece const& piece : pieces) {
    read.resize(piece.text.size());
    for (std::size_t i = 0; i < piece.count; ++i) {
      if (!in.read(read.data(), static_cast<std::streamsize>(read.size())) || read != piece.text) {
        return false;
      }
    }
  }
  return in.peek() == std::char_traits<char>::eof();
}

long peakMemoryKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

struct HugeLineCase {
  char const* behaviour;
  Pieces log;
  long fromTime;
  Pieces expected;
};

std::string hugeCaseName(::testing::TestParamInfo<HugeLineCase> const& test) { return test.param.behaviour; }
void PrintTo(HugeLineCase const& test, std::ostream* out) { *out << test.behaviour; }

class TailFromDateHugeLine : public TailFromDate, public ::testing::WithParamInterface<HugeLineCase> {};

constexpr std::size_t kHugeBlocks = 16384;  // of 4 KiB: a 64 MiB line
std::string const kBlock(4096, 'y');
std::string const kOlderStart = "2024-05-01T10:00:00.0,Info,";
std::string const kNewerStart = "2024-05-01T11:00:00.0,Info,";

TEST_P(TailFromDateHugeLine, IsCutCorrectlyWithoutBeingHeldInMemory) {
  writePieces(sourcePath("logSystem.csv"), GetParam().log);
  long const peakBefore = peakMemoryKiB();
  logFile.tailFromDate("logSystem.csv", GetParam().fromTime);
  long const growth = peakMemoryKiB() - peakBefore;
  EXPECT_TRUE(holdsPieces(copyPath("logSystem.csv"), GetParam().expected));
  EXPECT_LT(growth, 16 * 1024) << "KiB";
}

INSTANTIATE_TEST_SUITE_P(
    Lines, TailFromDateHugeLine,
    ::testing::Values(HugeLineCase{"OlderLineIsDropped",
                                   {{kHeader, 1}, {kOlderStart, 1}, {kBlock, kHugeBlocks}, {"\n", 1}, {kThird, 1}},
                                   kSecondTime,
                                   {{kHeader, 1}, {kThird, 1}}},
                      HugeLineCase{
                          "NewerLineIsCopied",
                          {{kHeader, 1}, {kFirst, 1}, {kNewerStart, 1}, {kBlock, kHugeBlocks}, {"\n", 1}, {kThird, 1}},
                          kSecondTime,
                          {{kHeader, 1}, {kNewerStart, 1}, {kBlock, kHugeBlocks}, {"\n", 1}, {kThird, 1}}},
                      HugeLineCase{"OlderLineWithoutLineFeedEndsTheInputAndIsCopied",
                                   {{kHeader, 1}, {kFirst, 1}, {kOlderStart, 1}, {kBlock, kHugeBlocks}},
                                   kSecondTime,
                                   {{kHeader, 1}, {kOlderStart, 1}, {kBlock, kHugeBlocks}, {"\n", 1}}},
                      HugeLineCase{"HeaderIsCopied",
                                   {{kBlock, kHugeBlocks}, {"\n", 1}, {kFirst, 1}},
                                   0,
                                   {{kBlock, kHugeBlocks}, {"\n", 1}, {kFirst, 1}}}),
    hugeCaseName);

// A source that is not a regular file cannot be read twice: where a line reaches 1 MiB without a
// line feed, whether it is scanned, kept or in the rest, the input ends after that MiB.
TEST_F(TailFromDate, ALongLineEndsASourceReadOnceAfterItsFirstMebibyte) {
  std::string const longLine = kOlderStart + std::string(3 << 20, 'y');
  std::string const firstMebibyte = longLine.substr(0, 1 << 20);
  struct Case {
    std::string log;
    long fromTime;
    std::string expected;
  };
  Case const cases[] = {{kHeader + longLine + "\n" + kThird, kSecondTime, kHeader + firstMebibyte + "\n"},
                        {kHeader + std::string(kThird) + kFirst + longLine + "\n" + kThird, kFirstTime,
                         kHeader + std::string(kThird) + kFirst + firstMebibyte}};
  for (auto const& c : cases) {
    std::filesystem::remove(sourcePath("logSystem.csv"));
    ASSERT_EQ(mkfifo(sourcePath("logSystem.csv").c_str(), 0600), 0);
    std::thread writer([&c] {
      sigset_t pipeSignal;  // the reader stops early: the writer gets EPIPE instead of the signal
      sigemptyset(&pipeSignal);
      sigaddset(&pipeSignal, SIGPIPE);
      pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
      writeFile(sourcePath("logSystem.csv"), c.log);
    });
    logFile.tailFromDate("logSystem.csv", c.fromTime);
    writer.join();
    EXPECT_EQ(readFile(copyPath("logSystem.csv")), c.expected);
  }
}

// A log that never ends a line, not even its header, is cut in bounded memory: in a child whose
// address space may grow by 256 MiB at most, the cut ends with the first MiB as its header.
TEST_F(TailFromDate, LogLinkedToDevZeroIsCutInBoundedMemory) {
  std::filesystem::create_symlink("/dev/zero", sourcePath("logSystem.csv"));
  pid_t const child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit const limit{static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE) + (256 << 20)), RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
    try {
      logFile.tailFromDate("logSystem.csv", kFirstTime);
    } catch (...) {
      _exit(1);  // never back into the test program's own flow
    }
    _exit(0);
  }
  int status = -1;
  pid_t ended = 0;
  for (int tries = 0; tries < 600 && (ended = waitpid(child, &status, WNOHANG)) == 0; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  if (ended == 0) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  EXPECT_EQ(readFile(copyPath("logSystem.csv")), std::string(1 << 20, '\0') + "\n\n");
}

TEST_F(TailFromDate, MissingSourceLeavesTheEarlierCopyAsItWas) {
  writeFile(copyPath("logUpdate.csv"), "earlier copy\n");
  logFile.tailFromDate("logUpdate.csv", 0);
  EXPECT_EQ(readFile(copyPath("logUpdate.csv")), "earlier copy\n");
  logFile.tailFromDate("logAccount.csv", 0);
  EXPECT_FALSE(fileExists(copyPath("logAccount.csv")));
}

TEST_F(TailFromDate, SourceThatOpensButCannotBeReadGivesTheHeaderLineThenAnEmptyLine) {
  std::filesystem::create_directory(sourcePath("logSession.csv"));
  writeFile(copyPath("logSession.csv"), "earlier copy\n");
  logFile.tailFromDate("logSession.csv", 0);
  EXPECT_EQ(readFile(copyPath("logSession.csv")), "\n\n");
}

TEST_F(TailFromDate, MissingOutputDirectoryWritesNothing) {
  writeFile(sourcePath("logSystem.csv"), kLog);
  SystemEventLogFile elsewhere(std::string(paths::kWorkDirectory) + "missing/");
  elsewhere.tailFromDate("logSystem.csv", 0);
  EXPECT_FALSE(fileExists(std::string(paths::kWorkDirectory) + "missing"));
}

TEST_F(TailFromDate, OutputThatCannotBeOpenedIsSkippedAndLeftAsItWas) {
  std::filesystem::create_directories(copyPath("logSystem.csv") + "/inside");
  writeFile(sourcePath("logSystem.csv"), kLog);
  logFile.tailFromDate("logSystem.csv", 0);
  EXPECT_TRUE(std::filesystem::is_directory(copyPath("logSystem.csv") + "/inside"));
  EXPECT_EQ(
      std::distance(std::filesystem::directory_iterator(paths::kWorkDirectory), std::filesystem::directory_iterator()),
      1);
}

TEST_F(TailFromDate, CopyWrittenThroughALinkIsWrittenInPlace) {
  writeFile(copyPath("target.csv"), "earlier copy, longer than the new one\n");
  std::filesystem::create_symlink(copyPath("target.csv"), copyPath("logSystem.csv"));
  EXPECT_EQ(cut(kLog, kThirdTime), kHeader + std::string(kThird));
  EXPECT_TRUE(std::filesystem::is_symlink(copyPath("logSystem.csv")));
  EXPECT_EQ(readFile(copyPath("target.csv")), kHeader + std::string(kThird));
}

TEST_F(TailFromDate, WriteRefusedByAFullDeviceRemovesTheCopy) {
  std::filesystem::create_symlink("/dev/full", copyPath("logSystem.csv"));
  writeFile(sourcePath("logSystem.csv"), kLog);
  logFile.tailFromDate("logSystem.csv", 0);
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(copyPath("logSystem.csv"))));
}

// The file size limit makes the file system refuse the write that would pass it, part way through
// the copy, as a full disk does.
TEST_F(TailFromDate, WriteFailingPartWayRemovesTheCutOffCopy) {
  std::string log = kHeader;
  for (int i = 0; i < 20000; ++i) {
    log += kThird;
  }
  writeFile(sourcePath("logSystem.csv"), log);
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  struct sigaction savedAction {};
  ASSERT_EQ(sigaction(SIGXFSZ, &ignore, &savedAction), 0);
  rlimit saved{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
  rlimit limited = saved;
  limited.rlim_cur = 100000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
  logFile.tailFromDate("logSystem.csv", 0);
  setrlimit(RLIMIT_FSIZE, &saved);
  sigaction(SIGXFSZ, &savedAction, nullptr);
  EXPECT_FALSE(fileExists(copyPath("logSystem.csv")));
  EXPECT_GT(log.size(), 100000U);
}

TEST_F(TailFromDate, RewritesAnEarlierLongerCopyCompletely) {
  writeFile(copyPath("logSystem.csv"), std::string(10000, 'z'));
  EXPECT_EQ(cut(kLog, kThirdTime), kHeader + std::string(kThird));
}

TEST_F(TailFromDate, GenerateFilesFromDateCutsTheFourLogsAndAlwaysSucceeds) {
  writeFile(sourcePath("logSystem.csv"), kLog);
  writeFile(sourcePath("logUpdate.csv"), "Update\n" + std::string(kSecond));
  writeFile(sourcePath("logAccount.csv"), "Account\n" + std::string(kFirst) + kThird);
  writeFile(copyPath("logSession.csv"), "earlier\n");  // its source is missing

  EXPECT_EQ(logFile.generateFilesFromDate(kSecondTime), 0);

  EXPECT_EQ(readFile(copyPath("logSystem.csv")), kHeader + std::string(kSecond) + kThird);
  EXPECT_EQ(readFile(copyPath("logUpdate.csv")), "Update\n" + std::string(kSecond));
  EXPECT_EQ(readFile(copyPath("logAccount.csv")), "Account\n" + std::string(kThird));
  EXPECT_EQ(readFile(copyPath("logSession.csv")), "earlier\n");
}

TEST(SystemEventLogFileNames, ListStartsWithABlankAndNamesUpdateAccountSessionSystem) {
  SystemEventLogFile const logFile("/tmp/emailService/");
  EXPECT_EQ(logFile.getLogFileName(),
            " /tmp/emailService/logUpdate.csv /tmp/emailService/logAccount.csv /tmp/emailService/logSession.csv "
            "/tmp/emailService/logSystem.csv");
}

class SystemEventLogFileByCount : public CardTest {};

TEST_F(SystemEventLogFileByCount, RunsTheScriptWithTheDirectoryAndTheCountInDecimal) {
  recordCommands();
  SystemEventLogFile logFile(paths::kWorkDirectory);
  EXPECT_EQ(logFile.generateFiles(25), 0);
  EXPECT_EQ(logFile.generateFiles(4294967295U), 0);
  ASSERT_EQ(recordedCommands().size(), 2U);
  EXPECT_THAT(recordedCommands()[0].args, ::testing::ElementsAre("tailLogFiles.sh", paths::kWorkDirectory, "25"));
  EXPECT_EQ(recordedCommands()[1].args.at(2), "4294967295");
}

TEST_F(SystemEventLogFileByCount, ScriptFailureStatusStillCountsAsRun) {
  recordCommands("", 1);
  SystemEventLogFile logFile(paths::kWorkDirectory);
  EXPECT_EQ(logFile.generateFiles(25), 0);
}

TEST_F(SystemEventLogFileByCount, ScriptThatCannotRunGivesMinusOne) {
  card().setCommandHook([](std::vector<std::string> const&, std::string const&, std::string&) -> int {
    throw std::runtime_error("cannot start");
  });
  SystemEventLogFile logFile(paths::kWorkDirectory);
  EXPECT_EQ(logFile.generateFiles(25), -1);
}

TEST_F(SystemEventLogFileByCount, ScriptMissingFromThePathGivesMinusOne) {
  std::string const savedPath = std::getenv("PATH");
  setenv("PATH", "/nonexistent", 1);
  SystemEventLogFile logFile(paths::kWorkDirectory);
  std::int32_t const status = logFile.generateFiles(25);
  setenv("PATH", savedPath.c_str(), 1);
  EXPECT_EQ(status, -1);
}

TEST_F(SystemEventLogFileByCount, CardScriptWritesTheLatestEntriesOfEachLog) {
  writeFile(sourcePath("logSystem.csv"), kLog);
  writeFile(sourcePath("logSession.csv"), "Session\n" + std::string(kFirst));
  SystemEventLogFile logFile(paths::kWorkDirectory);
  EXPECT_EQ(logFile.generateFiles(2), 0);
  EXPECT_EQ(readFile(copyPath("logSystem.csv")), kHeader + std::string(kSecond) + kThird);
  EXPECT_EQ(readFile(copyPath("logSession.csv")), "Session\n" + std::string(kFirst));
  EXPECT_FALSE(fileExists(copyPath("logUpdate.csv")));
}

}  // namespace
}  // namespace emailservice
