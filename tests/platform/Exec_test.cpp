#include "zorvan/Exec.h"

#include <gtest/gtest.h>

#include <chrono>
#include <exception>
#include <system_error>

#include "CardPaths.h"
#include "support/CardTest.h"

namespace emailservice::testing {
namespace {

using ExecTest = CardTest;

int runShell(std::string const& script, std::string const& input, std::stringstream* out, std::stringstream* err,
             unsigned int timeoutSeconds = 10) {
  return zorvan::exec({"/bin/sh", "-c", script}, input, timeoutSeconds, out, err);
}

TEST_F(ExecTest, CapturesStandardOutputAndErrorApart) {
  std::stringstream out;
  std::stringstream err;
  EXPECT_EQ(runShell("printf 'to out\\n'; printf 'to err' >&2", "", &out, &err), 0);
  EXPECT_EQ(out.str(), "to out\n");
  EXPECT_EQ(err.str(), "to err");
}

TEST_F(ExecTest, ReturnsTheExitStatusOrSignalPlus128) {
  struct Case {
    char const* script;
    int status;
  };
  Case const cases[] = {{"exit 0", 0}, {"exit 3", 3}, {"exit 255", 255}, {"kill -TERM $$", 128 + 15}};
  for (auto const& c : cases) {
    EXPECT_EQ(runShell(c.script, "", nullptr, nullptr), c.status) << c.script;
  }
}

TEST_F(ExecTest, FeedsTheInputAndClosesIt) {
  std::stringstream out;
  EXPECT_EQ(runShell("cat; echo end", "line 1\nline 2\n", &out, nullptr), 0);
  EXPECT_EQ(out.str(), "line 1\nline 2\nend\n");
}

TEST_F(ExecTest, EmptyInputGivesAnEmptyStandardInput) {
  std::stringstream out;
  EXPECT_EQ(runShell("wc -c | tr -d ' '", "", &out, nullptr), 0);
  EXPECT_EQ(out.str(), "0\n");
}

TEST_F(ExecTest, LargeInputAndOutputDoNotDeadlock) {
  std::string const input(3 * 1024 * 1024, 'x');
  std::stringstream out;
  std::stringstream err;
  // cat echoes the input while it is still being fed; the error stream gets a large flood too.
  EXPECT_EQ(runShell("cat; head -c 2000000 /dev/zero >&2", input, &out, &err, 30), 0);
  EXPECT_EQ(out.str().size(), input.size());
  EXPECT_EQ(out.str(), input);
  EXPECT_EQ(err.str().size(), 2000000U);
}

TEST_F(ExecTest, ProgramThatStopsReadingEarlyDoesNotEndTheCaller) {
  std::string const input(1024 * 1024, 'x');
  std::stringstream out;
  EXPECT_EQ(runShell("head -c 10", input, &out, nullptr), 0);
  EXPECT_EQ(out.str(), std::string(10, 'x'));
}

TEST_F(ExecTest, BareProgramNameIsLookedUpOnThePath) {
  std::stringstream out;
  EXPECT_EQ(zorvan::exec({"echo", "a b", "c"}, "", 10, &out, nullptr), 0);
  EXPECT_EQ(out.str(), "a b c\n") << "arguments are passed without a shell";
}

TEST_F(ExecTest, ProgramThatCannotBeStartedThrows) {
  struct Case {
    std::vector<std::string> args;
    std::errc cause;
  };
  Case const cases[] = {
      {{"/nonexistent/program"}, std::errc::no_such_file_or_directory},
      {{"no-such-program-on-the-path"}, std::errc::no_such_file_or_directory},
      {{"/"}, std::errc::permission_denied},
  };
  for (auto const& c : cases) {
    try {
      zorvan::exec(c.args, "", 10, nullptr, nullptr);
      ADD_FAILURE() << c.args[0] << " did not throw";
    } catch (std::system_error const& error) {
      EXPECT_EQ(error.code(), std::make_error_code(c.cause)) << c.args[0];
      EXPECT_NE(std::string(error.what()).find(c.args[0]), std::string::npos) << error.what();
    }
  }
  EXPECT_THROW(zorvan::Exec({"/nonexistent/program"}, 10), std::exception);
  EXPECT_THROW(zorvan::exec({}, "", 10, nullptr, nullptr), std::exception);
}

TEST_F(ExecTest, TimeoutKillsTheProgramAndWhatItStarted) {
  auto const start = std::chrono::steady_clock::now();
  std::stringstream out;
  // The background sleep holds the output pipe open: it must be killed too.
  EXPECT_EQ(runShell("echo started; sleep 30 & sleep 30", "", &out, nullptr, 1), 128 + 9);
  auto const took = std::chrono::steady_clock::now() - start;
  EXPECT_LT(took, std::chrono::seconds(10));
  EXPECT_GE(took, std::chrono::milliseconds(900));
  EXPECT_EQ(out.str(), "started\n");
}

TEST_F(ExecTest, TimeoutAppliesAfterTheProgramClosedItsOutput) {
  auto const start = std::chrono::steady_clock::now();
  EXPECT_EQ(runShell("exec >&- 2>&-; sleep 30", "", nullptr, nullptr, 1), 128 + 9);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

// The program ends while a child it started still holds its output: the call ends with the
// program, with what the program printed and its status, and the child does not outlive it.
TEST_F(ExecTest, ProgramThatLeavesAChildHoldingItsOutputEndsTheCallAndTheChild) {
  std::string const pidFile = std::string(paths::kWorkDirectory) + "child.pid";
  for (unsigned int timeoutSeconds : {0U, 20U}) {
    auto const start = std::chrono::steady_clock::now();
    std::stringstream out;
    EXPECT_EQ(runShell("sleep 30 & echo $! >" + pidFile + "; echo done; exit 3", "", &out, nullptr, timeoutSeconds),
              3);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 10.0);
    EXPECT_EQ(out.str(), "done\n");
    EXPECT_FALSE(processRuns(pidFile));
  }
}

TEST_F(ExecTest, ExecClassRunsAndKeepsTheStatus) {
  EXPECT_EQ(zorvan::Exec({"/bin/sh", "-c", "echo discarded; exit 4"}, 10).exitStatus(), 4);
  EXPECT_EQ(zorvan::Exec({"/bin/sh", "-c", "sleep 30"}, 1).exitStatus(), 128 + 9);
}

TEST_F(ExecTest, CommandHookReplacesTheRun) {
  recordCommands("hooked output", 7);
  std::stringstream out;
  EXPECT_EQ(zorvan::exec({"/nonexistent/program", "arg"}, "the input", 1, &out, nullptr), 7);
  EXPECT_EQ(out.str(), "hooked output");
  EXPECT_EQ(zorvan::Exec({"/bin/sh", "-c", "touch should-not-exist"}, 1).exitStatus(), 7);
  ASSERT_EQ(recordedCommands().size(), 2U);
  EXPECT_EQ(recordedCommands()[0].args, (std::vector<std::string>{"/nonexistent/program", "arg"}));
  EXPECT_EQ(recordedCommands()[0].input, "the input");
  EXPECT_EQ(recordedShellCommands(), std::vector<std::string>{"touch should-not-exist"});
  EXPECT_FALSE(fileExists("should-not-exist"));
}

TEST_F(ExecTest, EmptyHookRestoresRealRuns) {
  recordCommands();
  card().setCommandHook(nullptr);
  std::stringstream out;
  EXPECT_EQ(runShell("echo real", "", &out, nullptr), 0);
  EXPECT_EQ(out.str(), "real\n");
  EXPECT_TRUE(recordedCommands().empty());
}

}  // namespace
}  // namespace emailservice::testing
