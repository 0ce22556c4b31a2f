// The kept part of a cut log copied by the kernel: copy_file_range, else sendfile, else read and
// write, whatever each refuses, with the same bytes and the same failures. The two kernel calls
// are replaced in this program by stand-ins that pass to the kernel or answer as an older kernel
// or another file system would.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "logfiles/SystemEventLogFile.h"
#include "support/CardTest.h"

namespace {

// Steps of a stand-in's script, one per call; past its end, calls pass to the kernel. A positive
// step fails the call with that errno.
constexpr int kPass = 0;
constexpr int kPassSome = -1;  // passes at most 4096 bytes to the kernel
constexpr int kEnd = -2;       // reports the end of the input

struct KernelCall {
  std::vector<int> script;
  std::size_t calls = 0;
};
KernelCall copyRange;
KernelCall sendFile;

template <typename Kernel>
ssize_t answer(KernelCall& call, std::size_t length, Kernel kernel) {
  int const step = call.calls < call.script.size() ? call.script[call.calls] : kPass;
  ++call.calls;
  if (step > 0) {
    errno = step;
    return -1;
  }
  return step == kEnd ? 0 : kernel(step == kPassSome ? std::min<std::size_t>(length, 4096) : length);
}

}  // namespace

extern "C" ssize_t copy_file_range(int in, off_t* inOffset, int out, off_t* outOffset, std::size_t length,
                                   unsigned int flags) {
  return answer(copyRange, length, [=](std::size_t bytes) -> ssize_t {
    return ::syscall(SYS_copy_file_range, in, inOffset, out, outOffset, bytes, flags);
  });
}

// With 64-bit file offsets on a 32-bit machine the header names this sendfile64, the call to replace.
extern "C" ssize_t sendfile(int out, int in, off_t* offset, std::size_t length) noexcept {
#ifdef SYS_sendfile64
  long const number = SYS_sendfile64;
#else
  long const number = SYS_sendfile;
#endif
  return answer(sendFile, length,
                [=](std::size_t bytes) -> ssize_t { return ::syscall(number, out, in, offset, bytes); });
}

namespace emailservice::testing {
namespace {

std::string const kLog = std::string(paths::kSystemLogDirectory) + "logSystem.csv";
std::string const kCopy = std::string(paths::kWorkDirectory) + "logSystem.csv";
constexpr long kMiddle = 1714521600 + 40000;  // the log's lines are a second apart from 1714521600

// A log of about 3 MiB, whose last line has no line feed, kept on the work directory's file system
// (so that copy_file_range can copy it) and linked from the card's log directory; and its copy
// from kMiddle on, of which the kernel may copy the last MiB or more. A line without a stamp, dropped
// with the older lines, makes what is dropped a whole number of pages (the kernel copies whole
// pages).
std::string writeLog() {
  std::string dropped;
  std::string kept;
  for (long second = 0; second < 80000; ++second) {
    char line[80];
    int const hour = static_cast<int>(second / 3600), minute = static_cast<int>(second / 60 % 60);
    std::snprintf(line, sizeof line, "2024-05-%02dT%02d:%02d:%02d.5,Info,line %ld\n", 1 + hour / 24, hour % 24, minute,
                  static_cast<int>(second % 60), second);
    (second < 40000 ? dropped : kept) += line;
  }
  kept.pop_back();
  auto const page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  std::size_t const padding = 2 * page - dropped.size() % page;
  std::string const source = std::string(paths::kWorkDirectory) + "source.csv";
  writeFile(source, "Date,Level,Message\n" + std::string(padding - 1, '#') + "\n" + dropped + kept);
  std::filesystem::create_symlink(source, kLog);
  return "Date,Level,Message\n" + kept;
}

class LogCopyFileTest : public CardTest {
 protected:
  void TearDown() override {
    copyRange = {};
    sendFile = {};
    CardTest::TearDown();
  }
  SystemEventLogFile logs{paths::kWorkDirectory};
};

// Each refusal moves on to the next way, from the offset reached; an interrupted call is made again;
// an end reported early is confirmed by reading.
TEST_F(LogCopyFileTest, KernelCopyFallsBackFromWhereItStoppedAndGivesTheSameBytes) {
  struct Case {
    char const* what;
    std::vector<int> copyRangeScript, sendfileScript;
    std::size_t copyRangeCalls, sendfileCalls;
  };
  Case const cases[] = {
      {"copy_file_range copies", {}, {}, 2, 0},
      {"interrupted, made again", {EINTR}, {}, 3, 0},
      {"kernel before 4.5", {ENOSYS}, {}, 1, 2},
      {"another file system", {EXDEV}, {}, 1, 2},
      {"a part, then an error", {kPassSome, EIO}, {}, 2, 2},
      {"sendfile to sockets only (before 2.6.33)", {EOPNOTSUPP}, {EINVAL}, 1, 1},
      {"an end before the end", {kEnd}, {}, 1, 0},
  };
  std::string const expected = writeLog();
  for (auto const& c : cases) {
    copyRange = {c.copyRangeScript};
    sendFile = {c.sendfileScript};
    logs.tailFromDate("logSystem.csv", kMiddle);
    EXPECT_TRUE(readFile(kCopy) == expected) << c.what;
    EXPECT_EQ(copyRange.calls, c.copyRangeCalls) << c.what;
    EXPECT_EQ(sendFile.calls, c.sendfileCalls) << c.what;
  }
}

// A copy that outgrows what the file system lets it write is removed, whichever way the kernel
// was refused on the way: here a file size limit of 2 MiB, in a child.
TEST_F(LogCopyFileTest, CopyCutOffDuringTheKernelCopyIsRemoved) {
  writeLog();
  for (bool const kernelRefuses : {false, true}) {
    copyRange = {kernelRefuses ? std::vector<int>{ENOSYS} : std::vector<int>{}};
    sendFile = {kernelRefuses ? std::vector<int>{EINVAL} : std::vector<int>{}};
    pid_t const child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      signal(SIGXFSZ, SIG_IGN);
      rlimit const limit{2 << 20, 2 << 20};
      setrlimit(RLIMIT_FSIZE, &limit);
      logs.tailFromDate("logSystem.csv", 0);
      _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    EXPECT_FALSE(fileExists(kCopy)) << "kernel refuses: " << kernelRefuses;
  }
}

}  // namespace
}  // namespace emailservice::testing
