#include "simcard/CardFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "CardPaths.h"
#include "support/CardTest.h"

namespace emailservice::testing {
namespace {

class CardFileTest : public CardTest {
 protected:
  std::string const path = std::string(paths::kWorkDirectory) + "card.txtpb";
};

TEST_F(CardFileTest, ValidFileLoadsEveryPartOfTheState) {
  writeFile(path,
            "productName: \"Card X\"\n"
            "devices { id: 20 vendor: \"Maker\" physicalName: \"UPS 3000\" }\n"
            "channels { id: 7 device: 20 name: \"PowerDistribution.Attribute.PartNumber\" value: \"PN-1\" }\n"
            "alarms { raisedAt: 100 clearedAt: 200 device: 20 level: 3 levelText: \"Critical\" description: \"On "
            "battery\" }\n"
            "records { key: \"EMAIL_CONFIGURATION\" value { emailConfigurationList { configurations { id { value: "
            "\"a\" } } } } }\n"
            "network { fqdn: \"card.example\" }\n");
  simcard::proto::CardState state;
  std::string error;
  ASSERT_TRUE(simcard::CardFile::load(path, state, error)) << error;
  EXPECT_EQ(error, "");
  EXPECT_EQ(state.productname(), "Card X");
  ASSERT_EQ(state.devices_size(), 1);
  EXPECT_EQ(state.devices(0).physicalname(), "UPS 3000");
  EXPECT_EQ(state.channels(0).value(), "PN-1");
  EXPECT_EQ(state.alarms(0).clearedat(), 200);
  EXPECT_EQ(state.records(0).value().emailconfigurationlist().configurations(0).id().value(), "a");
  EXPECT_EQ(state.network().fqdn(), "card.example");
}

TEST_F(CardFileTest, MalformedFileNamesLineAndColumnAndLeavesStateUntouched) {
  writeFile(path, "productName: \"Card X\"\ndevices { id: 20\n  vendr: \"Maker\" }\n");
  simcard::proto::CardState state;
  state.set_productname("before");
  std::string error;
  EXPECT_FALSE(simcard::CardFile::load(path, state, error));
  // The column is where the parser stopped, on the bad field's line.
  EXPECT_THAT(error, ::testing::MatchesRegex(path + ":3:[0-9]+: .*vendr.*"));
  EXPECT_EQ(state.productname(), "before");
  EXPECT_EQ(state.devices_size(), 0);
}

TEST_F(CardFileTest, FileCutShortIsRejectedWhole) {
  writeFile(path, "productName: \"Card X\"\ndevices { id: 20\n");
  simcard::proto::CardState state;
  std::string error;
  EXPECT_FALSE(simcard::CardFile::load(path, state, error));
  EXPECT_THAT(error, ::testing::StartsWith(path + ":3:1: "));
  EXPECT_FALSE(state.has_productname());
}

TEST_F(CardFileTest, UnreadableFileIsReportedWithItsReason) {
  simcard::proto::CardState state;
  state.set_productname("before");
  std::string error;
  EXPECT_FALSE(simcard::CardFile::load(path + ".missing", state, error));
  EXPECT_EQ(error, path + ".missing: cannot read: No such file or directory");
  EXPECT_EQ(state.productname(), "before");

  EXPECT_FALSE(simcard::CardFile::load(paths::kWorkDirectory, state, error));
  EXPECT_EQ(error, std::string(paths::kWorkDirectory) + ": cannot read: Is a directory");
}

// A FIFO without a writer, a device that never ends, a file over 16 MiB: refused, not waited for
// or read whole.
TEST_F(CardFileTest, FileThatIsNotRegularOrTooLargeIsRefused) {
  ASSERT_EQ(mkfifo((path + ".fifo").c_str(), 0600), 0);
  writeFile(path + ".big", "");
  std::filesystem::resize_file(path + ".big", simcard::CardFile::kMaxBytes + 1);
  for (std::string const& refused : {path + ".big", std::string("/dev/zero"), path + ".fifo"}) {
    simcard::proto::CardState state;
    std::string error;
    EXPECT_FALSE(simcard::CardFile::load(refused, state, error));
    EXPECT_EQ(error, refused + (refused == path + ".big" ? ": cannot read: larger than 16 MiB"
                                                          : ": cannot read: not a regular file"));
  }
}

}  // namespace
}  // namespace emailservice::testing
