// The configuration check agrees with the e-mail service: for every case of agreement.txtpb the
// check gives the case's finding, and the whole call on the case's card and event does what that
// finding says (a parse message, a failed sending, a file outside the work directory, a command
// run by the shell, nothing sent ...).
#include <gmock/gmock.h>
#include <google/protobuf/text_format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "CardPaths.h"
#include "agreement_case.pb.h"
#include "cdsapi/InBandAccessor.h"
#include "cdsapi/OobAccessor.h"
#include "dispatch/DispatchCard.h"
#include "emailservice/ConfigurationCheck.h"
#include "support/WholeCall.h"
#include "support/CardTest.h"

namespace checktest {
// A case shows as its name in the test names.
inline void PrintTo(Case const& given, std::ostream* out) { *out << given.name(); }
}  // namespace checktest

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

std::vector<checktest::Case> cases() {
  checktest::Cases all;
  if (!google::protobuf::TextFormat::ParseFromString(readFile(EMAILSERVICE_SOURCE_DIR "/tests/check/agreement.txtpb"),
                                                     &all)) {
    ADD_FAILURE() << "tests/check/agreement.txtpb does not parse";
  }
  return {all.cases().begin(), all.cases().end()};
}

// The check's lines for the card, with the list and the names read as the service reads them.
std::vector<std::string> findingLines() {
  cdsapi::CdsAccessor accessor;
  auto& inband = accessor.inbandAccessor();
  check::DeviceNames const names{inband.getDeviceFriendlyName(1), inband.getDevicePhysicalName(1),
                                 inband.getDeviceFriendlyName(20), inband.getDevicePhysicalName(20)};
  std::vector<std::string> lines;
  for (auto const& finding :
       check::checkConfigurations(accessor.oobAccessor().get("EMAIL_CONFIGURATION").emailconfigurationlist(), names)) {
    lines.push_back(check::describe(finding));
  }
  return lines;
}

class CheckAgreementTest : public CardTest, public ::testing::WithParamInterface<checktest::Case> {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    scratch = (fs::temp_directory_path() / ("check-agreement-" + std::to_string(getpid()))).string() + "/";
    fs::create_directories(scratch);
    previousDirectory = fs::current_path();
    fs::current_path(scratch);
    setenv("SIMCARD_MAILDIR", (scratch + "Maildir").c_str(), 1);
  }

  void TearDown() override {
    fs::current_path(previousDirectory);
    unsetenv("SIMCARD_MAILDIR");
    std::error_code ignored;
    fs::remove_all(scratch, ignored);
    fs::remove(filled(GetParam().file()), ignored);  // a body written outside the work directory
    CardTest::TearDown();
  }

  std::string filled(std::string text) const {
    for (auto const& [marker, value] : {std::pair<std::string, std::string>{"@WORK@", paths::kWorkDirectory},
                                        std::pair<std::string, std::string>{"@SCRATCH@", scratch}}) {
      for (auto at = text.find(marker); at != std::string::npos; at = text.find(marker)) {
        text.replace(at, marker.size(), value);
      }
    }
    return text;
  }

  std::string scratch;
  fs::path previousDirectory;
};

TEST_P(CheckAgreementTest, TheServiceDoesWhatTheFindingSays) {
  checktest::Case const& given = GetParam();
#ifdef EMAILSERVICE_HARDENED_SUBMISSION
  if (given.defaultbuildonly()) {
    GTEST_SKIP() << "the hardened mail command quotes the value";
  }
#endif
  card().load(given.card());
  std::vector<std::string> const lines = findingLines();
  if (given.finding() == "none") {
    EXPECT_THAT(lines, ::testing::IsEmpty());
  } else {
    EXPECT_THAT(lines, ::testing::Contains(given.finding()));
  }

  if (!given.shell()) {
    recordCommands();
  }
  std::ostringstream printed;
  std::streambuf* const standardOutput = std::cout.rdbuf(printed.rdbuf());
  ErrorCode const result =
      manageEmails(EmailEvent{given.type(), "2026-11-23 10:00:00", given.level(), given.code(), 1, "On battery"});
  std::cout.rdbuf(standardOutput);

  EXPECT_EQ(static_cast<int>(result), given.result());
  EXPECT_EQ(printed.str().empty(), !given.has_printed());
  EXPECT_THAT(printed.str(), HasSubstr(given.printed()));
  auto const mailCommands = recordedShellCommands();
  if (!given.shell()) {
    std::vector<std::string> mailedTo(mailCommands.size());
    std::transform(mailCommands.begin(), mailCommands.end(), mailedTo.begin(), recipientsOf);
    EXPECT_EQ(mailedTo, std::vector<std::string>(given.mailedto().begin(), given.mailedto().end()));
  }
  if (given.has_subject()) {
    ASSERT_FALSE(mailCommands.empty());
    EXPECT_THAT(subjectOf(mailCommands.front()), HasSubstr(given.subject()));
  }
  if (given.has_attachments()) {
    ASSERT_FALSE(mailCommands.empty());
    EXPECT_EQ(attachmentsOf(mailCommands.front()), filled(given.attachments()));
  }
  if (given.has_file()) {
    EXPECT_TRUE(fileExists(filled(given.file()))) << filled(given.file());
    std::string const content = fs::is_regular_file(filled(given.file())) ? readFile(filled(given.file())) : "";
    EXPECT_THAT(content, HasSubstr(given.fileholds()));
    EXPECT_TRUE(!given.has_filelacks() || content.find(given.filelacks()) == std::string::npos) << content;
  }
  EXPECT_TRUE(!given.has_absent() || !fileExists(filled(given.absent()))) << filled(given.absent());
}

std::string caseName(::testing::TestParamInfo<checktest::Case> const& param) { return param.param.name(); }

INSTANTIATE_TEST_SUITE_P(Cases, CheckAgreementTest, ::testing::ValuesIn(cases()), caseName);

}  // namespace
}  // namespace emailservice::testing
