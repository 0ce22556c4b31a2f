// The card's "tailLogFiles.sh", run for real from the simulated card's command directory.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "support/CardTest.h"
#include "zorvan/Exec.h"

namespace emailservice {
namespace {

using testing::CardTest;
using testing::fileExists;
using testing::readFile;
using testing::writeFile;

std::string sourcePath(std::string const& name) { return std::string(paths::kSystemLogDirectory) + name; }
std::string copyPath(std::string const& name) { return std::string(paths::kWorkDirectory) + name; }

class TailLogFilesScript : public CardTest {
 protected:
  int run(std::vector<std::string> args) {
    args.insert(args.begin(), std::string(SIMCARD_BIN_DIR) + "/tailLogFiles.sh");
    std::stringstream out;
    errors.str("");
    return zorvan::exec(args, "", 30, &out, &errors);
  }

  std::stringstream errors;
};

TEST_F(TailLogFilesScript, WritesTheHeaderAndTheLastCountEntriesOfEveryLog) {
  writeFile(sourcePath("logUpdate.csv"), "U\nu1\nu2\nu3\n");
  writeFile(sourcePath("logAccount.csv"), "A\na1\n");
  writeFile(sourcePath("logSession.csv"), "S\ns1\ns2\ns3\ns4\n");
  writeFile(sourcePath("logSystem.csv"), "Y\ny1\ny2\ny3\n");
  ASSERT_EQ(run({paths::kWorkDirectory, "2"}), 0) << errors.str();
  EXPECT_EQ(readFile(copyPath("logUpdate.csv")), "U\nu2\nu3\n");
  EXPECT_EQ(readFile(copyPath("logAccount.csv")), "A\na1\n");
  EXPECT_EQ(readFile(copyPath("logSession.csv")), "S\ns3\ns4\n");
  EXPECT_EQ(readFile(copyPath("logSystem.csv")), "Y\ny2\ny3\n");
  EXPECT_EQ(errors.str(), "");
}

TEST_F(TailLogFilesScript, CountZeroKeepsTheHeaderAndLeadingZerosAreDecimal) {
  writeFile(sourcePath("logSystem.csv"), "Y\ny1\ny2\ny3\ny4\ny5\ny6\ny7\ny8\ny9\n");
  ASSERT_EQ(run({paths::kWorkDirectory, "0"}), 0);
  EXPECT_EQ(readFile(copyPath("logSystem.csv")), "Y\n");
  ASSERT_EQ(run({paths::kWorkDirectory, "010"}), 0);
  EXPECT_EQ(readFile(copyPath("logSystem.csv")), "Y\ny1\ny2\ny3\ny4\ny5\ny6\ny7\ny8\ny9\n");
  ASSERT_EQ(run({paths::kWorkDirectory, "99999999999999999999999"}), 0);
  EXPECT_EQ(readFile(copyPath("logSystem.csv")), "Y\ny1\ny2\ny3\ny4\ny5\ny6\ny7\ny8\ny9\n");
}

TEST_F(TailLogFilesScript, CopiesBytesUnchangedIncludingAMissingFinalLineFeed) {
  using namespace std::string_literals;
  std::string const log = "Y\r\ny1\r\ny2 \0 nul\r\ny3 no feed"s;
  writeFile(sourcePath("logSystem.csv"), log);
  ASSERT_EQ(run({paths::kWorkDirectory, "2"}), 0);
  EXPECT_EQ(readFile(copyPath("logSystem.csv")), "Y\r\ny2 \0 nul\r\ny3 no feed"s);
}

TEST_F(TailLogFilesScript, MissingLogLeavesTheEarlierCopyAndEmptyLogGivesAnEmptyCopy) {
  writeFile(copyPath("logUpdate.csv"), "earlier\n");
  writeFile(sourcePath("logAccount.csv"), "");
  ASSERT_EQ(run({paths::kWorkDirectory, "25"}), 0) << errors.str();
  EXPECT_EQ(readFile(copyPath("logUpdate.csv")), "earlier\n");
  EXPECT_TRUE(fileExists(copyPath("logAccount.csv")));
  EXPECT_EQ(readFile(copyPath("logAccount.csv")), "");
  EXPECT_FALSE(fileExists(copyPath("logSession.csv")));
}

TEST_F(TailLogFilesScript, BadArgumentsFailWithAMessageAndWriteNothing) {
  writeFile(sourcePath("logSystem.csv"), "Y\ny1\n");
  for (std::vector<std::string> const& args :
       std::vector<std::vector<std::string>>{{paths::kWorkDirectory, "-1"},
                                             {paths::kWorkDirectory, "2x"},
                                             {paths::kWorkDirectory, ""},
                                             {paths::kWorkDirectory, "+3"},
                                             {paths::kWorkDirectory},
                                             {paths::kWorkDirectory, "1", "2"}}) {
    EXPECT_EQ(run(args), 2) << args.back();
    EXPECT_NE(errors.str(), "") << args.back();
  }
  EXPECT_TRUE(std::filesystem::is_empty(paths::kWorkDirectory));
}

TEST_F(TailLogFilesScript, OutputDirectoryThatIsMissingOrAFileFails) {
  writeFile(sourcePath("logSystem.csv"), "Y\ny1\n");
  EXPECT_EQ(run({copyPath("missing/"), "5"}), 1);
  EXPECT_NE(errors.str(), "");
  writeFile(copyPath("plain"), "");
  EXPECT_EQ(run({copyPath("plain"), "5"}), 1);
  EXPECT_FALSE(fileExists(copyPath("missing")));
}

TEST_F(TailLogFilesScript, CopyThatCannotBePutInPlaceFailsAndLeavesNoTemporaryFile) {
  writeFile(sourcePath("logSystem.csv"), "Y\ny1\n");
  writeFile(sourcePath("logUpdate.csv"), "U\nu1\n");
  std::filesystem::create_directories(copyPath("logSystem.csv") + "/inside");
  EXPECT_EQ(run({paths::kWorkDirectory, "5"}), 1);
  EXPECT_NE(errors.str(), "");
  EXPECT_EQ(readFile(copyPath("logUpdate.csv")), "U\nu1\n");
  EXPECT_FALSE(fileExists(copyPath("logSystem.csv.part")));
}

}  // namespace
}  // namespace emailservice
