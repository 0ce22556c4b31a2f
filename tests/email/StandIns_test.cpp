// The host stand-ins of the card's "sudo" and "sendemail", run directly.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "support/CardTest.h"
#include "zorvan/Exec.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;

class StandIn : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    std::error_code ignored;
    fs::remove_all(testDirectory, ignored);
    fs::create_directories(testDirectory);
    fs::permissions(testDirectory, fs::perms::all);
    writeFile(attachment, "a,b\n");
    ::setenv("SIMCARD_MAILDIR", maildir.c_str(), 1);
    ::unsetenv("SIMCARD_SMTP_URL");
  }

  void TearDown() override {
    ::unsetenv("SIMCARD_MAILDIR");
    std::error_code ignored;
    fs::remove_all(testDirectory, ignored);
    CardTest::TearDown();
  }

  // Runs a stand-in of the simulated card's command directory; its standard output in `printed`.
  int run(std::string const& command, std::vector<std::string> args, std::string const& input = "body\n") {
    args.insert(args.begin(), std::string(SIMCARD_BIN_DIR) + "/" + command);
    std::stringstream out;
    status = zorvan::exec(args, input, 30, &out, &errors);
    printed = out.str();
    return status;
  }

  bool delivered() const {
    std::error_code missing;
    return !fs::is_empty(maildir + "/new", missing) && !missing;
  }

  std::string const testDirectory = std::string(paths::kPathPrefix) + "/tmp/email-standin-test";
  std::string const maildir = testDirectory + "/Maildir";
  std::string const attachment = testDirectory + "/ups.csv";
  std::string printed;
  std::stringstream errors;
  int status = 0;
};

TEST_F(StandIn, SendemailPrintsNothingWhenTheMessageWentOut) {
  EXPECT_EQ(run("sendemail", {"-s", "S", "-a", attachment, attachment, "--", "ops", "b@example.com"}), 0)
      << errors.str();
  EXPECT_EQ(printed, "");
  EXPECT_TRUE(delivered());
  EXPECT_FALSE(fs::exists(maildir + "/tmp") && !fs::is_empty(maildir + "/tmp"));  // nothing left half-written
}

struct SyntaxCase {
  char const* name;
  std::vector<std::string> args;
  friend void PrintTo(SyntaxCase const& testCase, std::ostream* out) { *out << testCase.name; }
};

class SendemailRefuses : public StandIn, public ::testing::WithParamInterface<SyntaxCase> {};

TEST_P(SendemailRefuses, PrintsTheFailureTextAndDeliversNothing) {
  std::vector<std::string> args;
  for (auto const& arg : GetParam().args) {
    args.push_back(arg == "ATTACHMENT" ? attachment : arg);
  }
  EXPECT_NE(run("sendemail", args), 0);
  EXPECT_EQ(printed, "Could not send the message\n");
  EXPECT_FALSE(delivered());
}

INSTANTIATE_TEST_SUITE_P(
    BadCommandLines, SendemailRefuses,
    ::testing::Values(SyntaxCase{"NoArguments", {}}, SyntaxCase{"SubjectOptionWithoutValue", {"-s"}},
                      SyntaxCase{"NoSubjectOption", {"-a", "ATTACHMENT", "--", "ops"}},
                      SyntaxCase{"NoEndOfOptions", {"-s", "S", "ops"}},
                      SyntaxCase{"AttachmentsWithoutEndOfOptions", {"-s", "S", "-a", "ATTACHMENT"}},
                      SyntaxCase{"AttachmentOptionWithoutFile", {"-s", "S", "-a", "--", "ops"}},
                      SyntaxCase{"UnknownOption", {"-s", "S", "-x", "--", "ops"}},
                      SyntaxCase{"NoRecipient", {"-s", "S", "--"}},
                      SyntaxCase{"MissingAttachment", {"-s", "S", "-a", "ATTACHMENT", "/no/such.csv", "--", "ops"}},
                      SyntaxCase{"DirectoryAsAttachment", {"-s", "S", "-a", "/tmp", "--", "ops"}},
                      SyntaxCase{"PipeRecipient", {"-s", "S", "--", "|cat"}},
                      SyntaxCase{"InvalidAddress", {"-s", "S", "--", "a@@b"}}),
    [](auto const& caseInfo) { return std::string(caseInfo.param.name); });

TEST_F(StandIn, SendemailReportsAnUnreachableSmtpServer) {
  ::setenv("SIMCARD_SMTP_URL", "smtp://127.0.0.1:1", 1);
  EXPECT_NE(run("sendemail", {"-s", "S", "--", "ops@example.com"}), 0);
  EXPECT_EQ(printed, "Could not send the message\n");
  EXPECT_FALSE(delivered());
}

TEST_F(StandIn, SudoRunsAsTheCurrentUserWhenTheTargetUserDoesNotExist) {
  ASSERT_EQ(run("sudo", {"-u", "no-such-user-of-this-host", "id", "-u"}), 0) << errors.str();
  EXPECT_EQ(printed, std::to_string(::getuid()) + "\n");
}

TEST_F(StandIn, SudoSwitchesToAnExistingUserWhenRunAsRoot) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "switching users needs root";
  }
  ASSERT_EQ(run("sudo", {"-u", "nobody", "id", "-un"}), 0) << errors.str();
  EXPECT_EQ(printed, "nobody\n");
}

TEST_F(StandIn, SudoKeepsTheEnvironmentAndPassesArgumentsUnchanged) {
  ASSERT_EQ(run("sudo", {"-u", "nobody", "/bin/sh", "-c", "printf '%s|%s' \"$SIMCARD_MAILDIR\" \"$0\"", "a b"}), 0)
      << errors.str();
  EXPECT_EQ(printed, maildir + "|a b");
}

TEST_F(StandIn, SudoRefusesAnythingButTheUserOption) {
  EXPECT_NE(run("sudo", {"id"}), 0);
  EXPECT_NE(run("sudo", {"-u", "nobody"}), 0);
  EXPECT_EQ(printed, "");
}

}  // namespace
}  // namespace emailservice::testing
