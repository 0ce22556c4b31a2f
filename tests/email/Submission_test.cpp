// The flow of one e-mail and its submission: the command text, the failure text, the runner's
// exceptions, the body file, subject escaping and the UTC time stamps.
#include <gtest/gtest.h>

#include <limits>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "EmailTest.h"
#include "emailservice/ErrorCode.h"

namespace emailservice::testing {
namespace {

class Submission : public EmailTest {};

struct CommandCase {
  char const* name;
  std::string subject;
  std::string attachments;
  std::string recipients;
  std::string command;
  friend void PrintTo(CommandCase const& testCase, std::ostream* out) { *out << testCase.name; }
};

class CommandText : public EmailTest, public ::testing::WithParamInterface<CommandCase> {};

TEST_P(CommandText, IsRunThroughTheShellWithNoInput) {
  recordCommands();
  std::string const body = "/tmp/emailService/test.txt";  // must outlive the e-mail
  auto email = makeEmail(body, {});
  email->setSubject(GetParam().subject);
  email->setAttachments(GetParam().attachments);
  EXPECT_EQ(email->sendEmail(GetParam().recipients), ErrorCode::Success);
  ASSERT_EQ(recordedCommands().size(), 1u);
  EXPECT_EQ(recordedCommands()[0].args, (std::vector<std::string>{"/bin/sh", "-c", GetParam().command}));
  EXPECT_EQ(recordedCommands()[0].input, "");
}

INSTANTIATE_TEST_SUITE_P(
    Pieces, CommandText,
    ::testing::Values(
        CommandCase{"NoAttachment", "UPS-A - Test email", "", "ops",
                    "sudo -u email sendemail -s \"UPS-A - Test email\" -- ops < /tmp/emailService/test.txt"},
        CommandCase{"OneAttachment", "UPS-A - Test email", " /tmp/emailService/ups.csv", "ops",
                    "sudo -u email sendemail -s \"UPS-A - Test email\" -a /tmp/emailService/ups.csv -- ops < "
                    "/tmp/emailService/test.txt"},
        // The list follows "-a" character for character: the kinds supply the blanks.
        CommandCase{"AttachmentListVerbatim", "S", " /a.csv /b.csv", "ops admin@example.com",
                    "sudo -u email sendemail -s \"S\" -a /a.csv /b.csv -- ops admin@example.com < "
                    "/tmp/emailService/test.txt"},
        CommandCase{"ListWithoutLeadingBlank", "S", "/a.csv", "ops",
                    "sudo -u email sendemail -s \"S\" -a/a.csv -- ops < /tmp/emailService/test.txt"},
        CommandCase{"EmptyRecipients", "S", "", "",
                    "sudo -u email sendemail -s \"S\" --  < /tmp/emailService/test.txt"},
        CommandCase{"EmptySubject", "", "", "ops",
                    "sudo -u email sendemail -s \"\" -- ops < /tmp/emailService/test.txt"},
        CommandCase{"QuoteInSubjectIsEscaped", "UPS \"A\"", "", "ops",
                    "sudo -u email sendemail -s \"UPS \\\"A\\\"\" -- ops < /tmp/emailService/test.txt"},
        // Only quotes, backslashes and backquotes are touched; the rest reaches the shell as is.
        CommandCase{"ShellCharactersInSubject", "a$HOME `id` $(id) \\n;|&\n\xc3\xa9\xff", "", "ops;x",
                    "sudo -u email sendemail -s \"a$HOME 'id' $(id) \\\\n;|&\n\xc3\xa9\xff\" -- ops;x < "
                    "/tmp/emailService/test.txt"}),
    [](auto const& caseInfo) { return std::string(caseInfo.param.name); });

TEST_F(Submission, LongSubjectIsPassedWhole) {
  recordCommands();
  std::string const body = "/b";
  auto email = makeEmail(body, {});
  email->setSubject(std::string(10 * 1024, '"'));
  email->sendEmail("ops");
  std::string escaped;
  for (int i = 0; i < 10 * 1024; ++i) {
    escaped += "\\\"";
  }
  ASSERT_EQ(recordedShellCommands().size(), 1u);
  EXPECT_EQ(recordedShellCommands()[0], "sudo -u email sendemail -s \"" + escaped + "\" -- ops < /b");
}

struct OutputCase {
  char const* name;
  std::string output;
  int status;
  ErrorCode result;
  friend void PrintTo(OutputCase const& testCase, std::ostream* out) { *out << testCase.name; }
};

class SubmissionOutput : public EmailTest, public ::testing::WithParamInterface<OutputCase> {};

TEST_P(SubmissionOutput, OnlyTheExactFailureTextMeansSendError) {
  recordCommands(GetParam().output, GetParam().status);
  auto email = makeEmail();
  EXPECT_EQ(email->sendEmail("ops"), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Outputs, SubmissionOutput,
    ::testing::Values(OutputCase{"Nothing", "", 0, ErrorCode::Success},
                      OutputCase{"NothingButFailedStatus", "", 1, ErrorCode::Success},
                      OutputCase{"OtherText", "sudo: unknown user email\n", 1, ErrorCode::Success},
                      OutputCase{"ExactText", "Could not send the message", 1, ErrorCode::SendError},
                      OutputCase{"TextWithZeroStatus", "Could not send the message\n", 0, ErrorCode::SendError},
                      OutputCase{"TextAmongOtherLines", "connecting\nsmtp: Could not send the message (550)\nbye\n", 0,
                                 ErrorCode::SendError},
                      OutputCase{"LowerCaseInitial", "could not send the message\n", 1, ErrorCode::Success},
                      OutputCase{"UpperCase", "COULD NOT SEND THE MESSAGE\n", 1, ErrorCode::Success},
                      OutputCase{"Truncated", "Could not send the messag", 1, ErrorCode::Success},
                      OutputCase{"LineBreakInside", "Could not send\nthe message", 1, ErrorCode::Success}),
    [](auto const& caseInfo) { return std::string(caseInfo.param.name); });

TEST_F(Submission, ExceptionFromTheRunnerGivesSendError) {
  card().setCommandHook([](std::vector<std::string> const&, std::string const&, std::string&) -> int {
    throw std::runtime_error("cannot start /bin/sh");
  });
  auto email = makeEmail();
  email->setSubject("a\"b");
  EXPECT_EQ(email->sendEmail("ops"), ErrorCode::SendError);
  EXPECT_EQ(email->getSubject(), "a\\\"b");  // escaped before the run
}

TEST_F(Submission, ManageEmailRunsSubjectBodyAttachmentsThenSubmission) {
  writeFile(workPath("ups.csv"), "u\n");
  recordCommands();
  auto email = makeEmail({workPath("ups.csv"), workPath("sensors.csv")});
  EXPECT_EQ(email->manageEmail("ops admin@example.com"), ErrorCode::Success);

  std::string const body = expectedBanner("Host address: https://192.0.2.7\n");
  EXPECT_EQ(email->getMessage(), body);
  EXPECT_EQ(readFile(bodyFile), body + "\n");
  EXPECT_EQ(email->attachCalls, 1);
  EXPECT_EQ(email->bodyAtAttachTime, body + "\n");  // the body is on disk before any attachment
  ASSERT_EQ(recordedShellCommands().size(), 1u);
  EXPECT_EQ(recordedShellCommands()[0], "sudo -u email sendemail -s \"UPS-A\" -a " + workPath("ups.csv") + " " +
                                            workPath("sensors.csv") + " -- ops admin@example.com < " + bodyFile);
}

TEST_F(Submission, MeasureExportsComeFromTheCardsMeasuresAndLastAsLongAsTheEmail) {
  writeFile(std::string(paths::kUpsMeasuresDirectory) + "/records.csv", "time,load\n0,20\n");
  writeFile(std::string(paths::kSensorMeasuresDirectory) + "/records.csv", "time,temperature\n60,21.5\n");
  std::string upsAtSend;
  std::string sensorsAtSend;
  card().setCommandHook([&](std::vector<std::string> const&, std::string const&, std::string&) {
    upsAtSend = readFile(workPath("ups.csv"));
    sensorsAtSend = readFile(workPath("sensors.csv"));
    return 0;
  });
  auto email = makeEmail();
  email->attachMeasureExports = true;
  EXPECT_EQ(email->manageEmail("ops"), ErrorCode::Success);
  EXPECT_EQ(email->getAttachments(), " " + workPath("ups.csv") + " " + workPath("sensors.csv"));
  EXPECT_EQ(upsAtSend, "time,load\n1970-01-01 00:00:00,20\n");
  EXPECT_EQ(sensorsAtSend, "time,temperature\n1970-01-01 00:01:00,21.5\n");
  email.reset();
  EXPECT_FALSE(fileExists(workPath("ups.csv")));
  EXPECT_FALSE(fileExists(workPath("sensors.csv")));
}

TEST_F(Submission, ManageEmailReturnsWhatTheSubmissionReports) {
  recordCommands("Could not send the message\n", 1);
  EXPECT_EQ(makeEmail()->manageEmail("ops"), ErrorCode::SendError);
}

TEST_F(Submission, BodyFileIsTruncatedBeforeItIsWritten) {
  writeFile(bodyFile, std::string(20000, 'o'));
  recordCommands();
  auto email = makeEmail();
  email->manageEmail("ops");
  EXPECT_EQ(readFile(bodyFile), email->getMessage() + "\n");
}

TEST_F(Submission, MissingBodyDirectoryStillSubmits) {
  std::string const body = workPath("missing/body.txt");
  recordCommands("Could not send the message", 1);
  auto email = makeEmail(body, {});
  EXPECT_EQ(email->manageEmail("ops"), ErrorCode::SendError);
  EXPECT_FALSE(fileExists(body));
  EXPECT_EQ(email->bodyAtAttachTime, "");
  ASSERT_EQ(recordedShellCommands().size(), 1u);
  EXPECT_EQ(recordedShellCommands()[0], "sudo -u email sendemail -s \"UPS-A\" -- ops < " + body);
}

TEST_F(Submission, StoreFailureWhileComposingReachesTheCallerAndNothingIsSent) {
  card().setFault("getDeviceSerialNumber");
  recordCommands();
  auto email = makeEmail();
  EXPECT_THROW(email->manageEmail("ops"), std::runtime_error);
  EXPECT_TRUE(recordedCommands().empty());
  EXPECT_EQ(email->attachCalls, 0);
}

struct EscapeCase {
  char const* name;
  std::string subject;
  std::string escaped;
  friend void PrintTo(EscapeCase const& testCase, std::ostream* out) { *out << testCase.name; }
};

class SubjectEscaping : public EmailTest, public ::testing::WithParamInterface<EscapeCase> {};

TEST_P(SubjectEscaping, EscapesQuotesAndBackslashesOnceAndTurnsBackquotesIntoQuotes) {
  auto email = makeEmail();
  email->setSubject(GetParam().subject);
  email->escapeSubjectChars();
  EXPECT_EQ(email->getSubject(), GetParam().escaped);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SubjectEscaping,
    ::testing::Values(EscapeCase{"Empty", "", ""}, EscapeCase{"OnlyABackquote", "`", "'"},
                      EscapeCase{"QuoteBetweenLetters", "a\"b", "a\\\"b"},
                      EscapeCase{"BackslashThenQuote", "\\\"", "\\\\\\\""},
                      EscapeCase{"TwoQuotesAndABackslashGrowByThree", "\"x\"\\", "\\\"x\\\"\\\\"},
                      EscapeCase{"QuoteAtTheEnd", "end\"", "end\\\""},
                      EscapeCase{"BackslashThenBackquote", "\\`", "\\\\'"},
                      EscapeCase{"BackquotePairs", "`id` ``", "'id' ''"},
                      EscapeCase{"DollarAndOthersUnchanged", "$HOME $(id) ' ; \n\t", "$HOME $(id) ' ; \n\t"},
                      EscapeCase{"NonAsciiBytesUnchanged", "\xc3\xa9\xff\x80", "\xc3\xa9\xff\x80"},
                      EscapeCase{"ManyBackslashes", std::string(5000, '\\'), std::string(10000, '\\')}),
    [](auto const& caseInfo) { return std::string(caseInfo.param.name); });

struct TimeCase {
  char const* name;
  long seconds;
  char const* text;
  friend void PrintTo(TimeCase const& testCase, std::ostream* out) { *out << testCase.name; }
};

class FormatTime : public ::testing::TestWithParam<TimeCase> {};

TEST_P(FormatTime, WritesUtcDateAndTime) {
  EXPECT_EQ(EmailGlobalConfig::formatTime(GetParam().seconds), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Times, FormatTime,
                         ::testing::Values(TimeCase{"Epoch", 0, "1970-01-01 00:00:00"},
                                           TimeCase{"EndOfFirstDay", 86399, "1970-01-01 23:59:59"},
                                           TimeCase{"LeapDay", 951825600, "2000-02-29 12:00:00"},
                                           TimeCase{"BeforeEpoch", -1, "1969-12-31 23:59:59"},
                                           TimeCase{"Largest32Bit", 2147483647L, "2038-01-19 03:14:07"},
                                           // What the clock's first second after 2038 becomes in a 32-bit long.
                                           TimeCase{"SmallestLong", std::numeric_limits<long>::min(),
                                                    sizeof(long) == 4 ? "1901-12-13 20:45:52" : ""}),
                         [](auto const& caseInfo) { return std::string(caseInfo.param.name); });

}  // namespace
}  // namespace emailservice::testing
