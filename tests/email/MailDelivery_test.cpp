// Whole e-mails through the real /bin/sh and the card's command stand-ins (sudo, sendemail),
// delivered into a Maildir of the test's own and read back as MIME messages.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "EmailTest.h"
#include "emailservice/ErrorCode.h"
#include "zorvan/Exec.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;

class MailDelivery : public EmailTest {
 protected:
  void SetUp() override {
    EmailTest::SetUp();
    std::error_code ignored;
    fs::remove_all(testDirectory, ignored);
    fs::create_directories(testDirectory);
    // sudo may switch to the user "email" where it exists: let it create the Maildir.
    fs::permissions(testDirectory, fs::perms::all);
    ::setenv("SIMCARD_MAILDIR", maildir.c_str(), 1);
    ::unsetenv("SIMCARD_SMTP_URL");
    std::string const path = ::getenv("PATH") != nullptr ? ::getenv("PATH") : "/usr/bin:/bin";
    ::setenv("PATH", (std::string(SIMCARD_BIN_DIR) + ":" + path).c_str(), 1);
  }

  void TearDown() override {
    ::unsetenv("SIMCARD_MAILDIR");
    std::error_code ignored;
    fs::remove_all(testDirectory, ignored);
    EmailTest::TearDown();
  }

  // Every delivered message in a fixed form: headers To and Subject, then each MIME part.
  std::string delivered() {
    std::stringstream out;
    std::stringstream errors;
    int const status = zorvan::exec(
        {"/usr/bin/python3", std::string(EMAILSERVICE_SOURCE_DIR) + "/tests/email/mime_summary.py", maildir}, "", 30,
        &out, &errors);
    EXPECT_EQ(status, 0) << errors.str();
    return out.str();
  }

  // The decoded subject of the one delivered message.
  std::string deliveredSubject() {
    std::string const summary = delivered();
    std::string const label = "\nSubject: ";
    auto const start = summary.find(label);
    if (start == std::string::npos || summary.find(label, start + 1) != std::string::npos) {
      ADD_FAILURE() << "not exactly one message: " << summary;
      return "";
    }
    auto const begin = start + label.size();
    return summary.substr(begin, summary.find('\n', begin) - begin);
  }

  std::size_t deliveredCount() const {
    std::error_code missing;
    auto entries = fs::directory_iterator(maildir + "/new", missing);
    return missing ? 0 : static_cast<std::size_t>(std::distance(fs::begin(entries), fs::end(entries)));
  }

  std::string const testDirectory = std::string(paths::kPathPrefix) + "/tmp/email-delivery-test";
  std::string const maildir = testDirectory + "/Maildir";
};

TEST_F(MailDelivery, DeliversSubjectBodyAndAttachmentsAsComposed) {
  card().device(1).set_friendlyname("UPS \"Lab\" \\ `x` \xc3\xa9");
  writeFile(workPath("ups.csv"), "time,load\n1,20\n");
  writeFile(workPath("sensors.csv"), "time,temperature\n1,21.5\n");
  auto email = makeEmail({workPath("ups.csv"), workPath("sensors.csv")});
  ASSERT_EQ(email->manageEmail("ops admin@example.com"), ErrorCode::Success);

  // Quotes and backslashes arrive as they were; a backquote arrives as a single quote.
  std::string const subject = "UPS \"Lab\" \\ 'x' \xc3\xa9";
  std::string body = expectedBanner("Host address: https://192.0.2.7\n") + "\n";
  body.replace(body.find("UPS-A"), 5, "UPS \"Lab\" \\ `x` \xc3\xa9");
  EXPECT_EQ(delivered(), "To: ops, admin@example.com\nSubject: " + subject +
                             "\n"
                             "-- part text/plain\n" +
                             body +
                             "-- part text/csv ups.csv\ntime,load\n1,20\n"
                             "-- part text/csv sensors.csv\ntime,temperature\n1,21.5\n");
}

TEST_F(MailDelivery, WithoutAttachmentsTheMessageHasTheBodyOnly) {
  ASSERT_EQ(makeEmail()->manageEmail("ops"), ErrorCode::Success);
  EXPECT_EQ(delivered(), "To: ops\nSubject: UPS-A\n-- part text/plain\n" +
                             expectedBanner("Host address: https://192.0.2.7\n") + "\n");
}

// Only quotes, backslashes and backquotes are neutralised: "$" keeps its meaning inside the
// double quotes, so variables and command substitutions in a device name are expanded.
TEST_F(MailDelivery, DollarExpansionsInTheSubjectAreExpandedByTheShell) {
  ::setenv("EMAIL_TEST_WORD", "expanded", 1);
  card().device(1).set_friendlyname("a $EMAIL_TEST_WORD $(echo substituted) b");
  ASSERT_EQ(makeEmail()->manageEmail("ops"), ErrorCode::Success);
  ::unsetenv("EMAIL_TEST_WORD");
  EXPECT_EQ(deliveredSubject(), "a expanded substituted b");
}

TEST_F(MailDelivery, RecipientsReachTheShellUnquoted) {
  std::string const marker = testDirectory + "/injected";
  ASSERT_EQ(makeEmail()->manageEmail("ops; echo injected > " + marker), ErrorCode::Success);
  EXPECT_EQ(readFile(marker), "injected\n");
}

TEST_F(MailDelivery, NewlineInTheSubjectArrivesAsABlank) {
  card().device(1).set_friendlyname("first\nsecond");
  ASSERT_EQ(makeEmail()->manageEmail("ops"), ErrorCode::Success);
  EXPECT_EQ(deliveredSubject(), "first second");
}

TEST_F(MailDelivery, TenKibSubjectArrivesWhole) {
  std::string name;
  for (int i = 0; i < 2048; ++i) {
    name += i == 0 ? "word" : " word";
  }
  card().device(1).set_friendlyname(name);
  ASSERT_EQ(makeEmail()->manageEmail("ops"), ErrorCode::Success);
  EXPECT_EQ(deliveredSubject(), name);
}

struct FailureCase {
  char const* name;
  char const* friendlyName;
  char const* recipients;
  bool vanishedAttachment;
  friend void PrintTo(FailureCase const& testCase, std::ostream* out) { *out << testCase.name; }
};

class MailDeliveryFailure : public MailDelivery, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(MailDeliveryFailure, GivesSendErrorAndDeliversNothing) {
  std::vector<std::string> files;
  if (GetParam().vanishedAttachment) {
    files.push_back(workPath("ups.csv"));  // listed, but never written
  }
  card().device(1).set_friendlyname(GetParam().friendlyName);
  EXPECT_EQ(makeEmail(files)->manageEmail(GetParam().recipients), ErrorCode::SendError);
  EXPECT_EQ(deliveredCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(StandIns, MailDeliveryFailure,
                         ::testing::Values(FailureCase{"EmptyRecipients", "UPS-A", "", false},
                                           FailureCase{"BlankRecipients", "UPS-A", "  ", false},
                                           FailureCase{"VanishedAttachment", "UPS-A", "ops", true},
                                           FailureCase{"PipeRecipient", "UPS-A", "'|cat'", false},
                                           FailureCase{"FileRecipient", "UPS-A", "/tmp/mailbox", false},
                                           // The stand-in takes names and bodies as UTF-8 and refuses other bytes.
                                           FailureCase{"NameNotUtf8", "UPS \xff", "ops", false}),
                         [](auto const& caseInfo) { return std::string(caseInfo.param.name); });

// Only the printed text decides: when the shell cannot open the body file, sendemail never runs,
// nothing is printed on standard output, and the e-mail counts as handed over.
TEST_F(MailDelivery, MissingBodyFileIsReportedAsSuccessAndNothingIsDelivered) {
  std::string const body = workPath("missing/body.txt");
  EXPECT_EQ(makeEmail(body, {})->manageEmail("ops"), ErrorCode::Success);
  EXPECT_EQ(deliveredCount(), 0u);
}

}  // namespace
}  // namespace emailservice::testing
