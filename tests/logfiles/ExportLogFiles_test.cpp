// The single-file attachments: the alarm history export and the UPS and sensor measures exports,
// with the files they leave and the statuses they report.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>

#include "CardPaths.h"
#include "logfiles/SensorMeasureLogFile.h"
#include "logfiles/UpsEventLogFile.h"
#include "logfiles/UpsMeasuresLogFile.h"
#include "meslog/MeasuresLog.h"
#include "support/CardTest.h"

namespace emailservice {
namespace {

using testing::CardTest;
using testing::fileExists;
using testing::readFile;
using testing::writeFile;

std::string workPath(std::string const& name) { return std::string(paths::kWorkDirectory) + name; }
std::string upsRecords() { return std::string(paths::kUpsMeasuresDirectory) + "/records.csv"; }

constexpr long kDay = 86400;
constexpr long kMay1 = 1714521600;  // 2024-05-01T00:00:00Z

// Records every 12 hours from April 29 00:00 to May 1 00:00.
std::string const kRecords =
    "Time,InputVoltage,Load\n"
    "1714348800,230.1,41\n"   // 2024-04-29 00:00:00
    "1714392000,229.8,40\n"   // 2024-04-29 12:00:00
    "1714435200,231.0,43\n"   // 2024-04-30 00:00:00
    "1714478400,230.4,39\n"   // 2024-04-30 12:00:00
    "1714521600,230.0,42\n";  // 2024-05-01 00:00:00

class MeasuresLogFiles : public CardTest {};

TEST_F(MeasuresLogFiles, RecentExportKeepsTheLast24HoursWhateverTheCount) {
  writeFile(upsRecords(), kRecords);
  std::string const expected =
      "Time,InputVoltage,Load\n"
      "2024-04-30 00:00:00,231.0,43\n"
      "2024-04-30 12:00:00,230.4,39\n"
      "2024-05-01 00:00:00,230.0,42\n";
  UpsMeasuresLogFile logFile(workPath("ups.csv"), paths::kUpsMeasuresDirectory);
  for (unsigned int count : {0U, 1U, 25U, 100000U}) {
    ASSERT_EQ(logFile.generateFiles(count), 0);
    EXPECT_EQ(readFile(workPath("ups.csv")), expected) << count;
  }
}

TEST_F(MeasuresLogFiles, ExportFromDateKeepsRecordsAtOrAfterTheStart) {
  writeFile(std::string(paths::kSensorMeasuresDirectory) + "/records.csv", kRecords);
  SensorMeasureLogFile logFile(workPath("sensors.csv"), paths::kSensorMeasuresDirectory);
  ASSERT_EQ(logFile.generateFilesFromDate(kMay1 - kDay / 2), 0);
  EXPECT_EQ(readFile(workPath("sensors.csv")),
            "Time,InputVoltage,Load\n2024-04-30 12:00:00,230.4,39\n2024-05-01 00:00:00,230.0,42\n");
  ASSERT_EQ(logFile.generateFilesFromDate(kMay1 + 1), 0);
  EXPECT_EQ(readFile(workPath("sensors.csv")), "Time,InputVoltage,Load\n");
}

TEST_F(MeasuresLogFiles, CrLfRecordsAndBlankLinesAreRead) {
  writeFile(upsRecords(), "Time,Load\r\n\r\n1714521600,42\r\n1714521660,43");
  UpsMeasuresLogFile logFile(workPath("ups.csv"), paths::kUpsMeasuresDirectory);
  ASSERT_EQ(logFile.generateFiles(25), 0);
  EXPECT_EQ(readFile(workPath("ups.csv")), "Time,Load\n2024-05-01 00:00:00,42\n2024-05-01 00:01:00,43\n");
}

constexpr char const kDirectory[] = "(a directory)";

struct StatusCase {
  char const* behaviour;
  char const* records;  // null: no records file; kDirectory: a directory in its place
  std::int32_t status;
};

// Names the generated tests after the behaviour they check.
std::string caseName(::testing::TestParamInfo<StatusCase> const& test) { return test.param.behaviour; }
void PrintTo(StatusCase const& test, std::ostream* out) { *out << test.behaviour; }

class MeasuresLogStatus : public CardTest, public ::testing::WithParamInterface<StatusCase> {};

TEST_P(MeasuresLogStatus, FailedExportReportsItsStatusAndLeavesNoFile) {
  if (GetParam().records == kDirectory) {
    std::filesystem::create_directories(upsRecords());
  } else if (GetParam().records != nullptr) {
    writeFile(upsRecords(), GetParam().records);
  }
  writeFile(workPath("ups.csv"), "an earlier export\n");
  UpsMeasuresLogFile logFile(workPath("ups.csv"), paths::kUpsMeasuresDirectory);
  EXPECT_EQ(logFile.generateFiles(25), GetParam().status);
  EXPECT_FALSE(fileExists(workPath("ups.csv")));
  EXPECT_FALSE(fileExists(workPath("ups.csv.part")));
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, MeasuresLogStatus,
    ::testing::Values(StatusCase{"NoRecordsFile", nullptr, meslog::MeasuresLog::kNoRecords},
                      StatusCase{"RecordsFileIsADirectory", kDirectory, meslog::MeasuresLog::kBadRecords},
                      StatusCase{"EmptyRecordsFile", "", meslog::MeasuresLog::kNoRecords},
                      StatusCase{"TimeNotANumber", "Time,Load\n2024-05-01,42\n", meslog::MeasuresLog::kBadRecords},
                      StatusCase{"TimeWithBlank", "Time,Load\n 1714521600,42\n", meslog::MeasuresLog::kBadRecords},
                      StatusCase{"TimeTooLarge", "Time,Load\n99999999999999999999,42\n",
                                 meslog::MeasuresLog::kBadRecords}),
    caseName);

TEST_F(MeasuresLogFiles, UnknownExportKindAndUnwritableOutputAreReported) {
  writeFile(upsRecords(), kRecords);
  meslog::MeasuresLog measures(paths::kUpsMeasuresDirectory);
  EXPECT_EQ(measures.exportCsvSaveToFile(20, workPath("ups.csv"), 0), meslog::MeasuresLog::kUnknownExport);
  EXPECT_EQ(measures.exportCsvSaveToFile(10, workPath("missing/ups.csv"), 0), meslog::MeasuresLog::kOutputError);
  EXPECT_FALSE(fileExists(workPath("missing")));
}

TEST_F(MeasuresLogFiles, ExportIsRemovedWhenTheLogFileObjectEnds) {
  writeFile(upsRecords(), kRecords);
  writeFile(std::string(paths::kSensorMeasuresDirectory) + "/records.csv", kRecords);
  {
    UpsMeasuresLogFile ups(workPath("ups.csv"), paths::kUpsMeasuresDirectory);
    SensorMeasureLogFile sensors(workPath("sensors.csv"), paths::kSensorMeasuresDirectory);
    ASSERT_EQ(ups.generateFiles(25), 0);
    ASSERT_EQ(sensors.generateFilesFromDate(0), 0);
    EXPECT_TRUE(fileExists(workPath("ups.csv")));
    EXPECT_TRUE(fileExists(workPath("sensors.csv")));
    EXPECT_EQ(ups.getLogFileName(), workPath("ups.csv"));
  }
  EXPECT_FALSE(fileExists(workPath("ups.csv")));
  EXPECT_FALSE(fileExists(workPath("sensors.csv")));
}

class AlarmLogFile : public CardTest {
 protected:
  void addAlarm(long raisedAt, long clearedAt, int level, char const* levelText, std::string const& description) {
    auto& alarm = *card().state().add_alarms();
    alarm.set_raisedat(raisedAt);
    if (clearedAt != 0) {
      alarm.set_clearedat(clearedAt);
    }
    alarm.set_device(20);
    alarm.set_level(level);
    if (levelText != nullptr) {
      alarm.set_leveltext(levelText);
    }
    alarm.set_description(description);
  }

  // Three alarms, kept by the store out of time order.
  void addHistory() {
    addAlarm(kMay1 + 120, 0, 3, "Critical", "On battery");
    addAlarm(kMay1, kMay1 + 60, 2, "Warning", "Fan failure, replace \"fan 2\"");
    addAlarm(kMay1 + 60, 0, 9, nullptr, "Output overload");
  }
};

std::string const kAlarmHeader = "Raised,Cleared,Level,Device,Description\n";
std::string const kFan = "2024-05-01 00:00:00,2024-05-01 00:01:00,Warning,20,\"Fan failure, replace \"\"fan 2\"\"\"\n";
std::string const kOverload = "2024-05-01 00:01:00,,9,20,Output overload\n";
std::string const kBattery = "2024-05-01 00:02:00,,Critical,20,On battery\n";

TEST_F(AlarmLogFile, ByCountWritesTheLatestAlarmsNewestFirst) {
  addHistory();
  UpsEventLogFile logFile(workPath("logAlarm.csv"));
  EXPECT_EQ(logFile.generateFiles(2), 0);
  EXPECT_EQ(readFile(workPath("logAlarm.csv")), kAlarmHeader + kBattery + kOverload);
  EXPECT_EQ(logFile.generateFiles(25), 0);
  EXPECT_EQ(readFile(workPath("logAlarm.csv")), kAlarmHeader + kBattery + kOverload + kFan);
  EXPECT_EQ(logFile.getLogFileName(), workPath("logAlarm.csv"));
}

TEST_F(AlarmLogFile, FromDateWritesTheAlarmsRaisedAtOrAfterItOldestFirst) {
  addHistory();
  UpsEventLogFile logFile(workPath("logAlarm.csv"));
  EXPECT_EQ(logFile.generateFilesFromDate(kMay1 + 60), 0);
  EXPECT_EQ(readFile(workPath("logAlarm.csv")), kAlarmHeader + kOverload + kBattery);
}

TEST_F(AlarmLogFile, StartTimeIsPassedAsUnsigned) {
  addHistory();
  UpsEventLogFile logFile(workPath("logAlarm.csv"));
  // -1 becomes the largest unsigned start: no alarm is that recent.
  EXPECT_EQ(logFile.generateFilesFromDate(-1), 0);
  EXPECT_EQ(readFile(workPath("logAlarm.csv")), kAlarmHeader);
}

TEST_F(AlarmLogFile, ReportsSuccessEvenWhenTheExportCannotBeWritten) {
  addHistory();
  UpsEventLogFile logFile(workPath("missing/logAlarm.csv"));
  EXPECT_EQ(logFile.generateFiles(25), 0);
  EXPECT_EQ(logFile.generateFilesFromDate(0), 0);
  EXPECT_FALSE(fileExists(workPath("missing")));
}

TEST_F(AlarmLogFile, StoreFailurePassesToTheCallerAndLeavesNoExport) {
  addHistory();
  UpsEventLogFile logFile(workPath("logAlarm.csv"));
  ASSERT_EQ(logFile.generateFiles(25), 0);
  card().setFault("getAlarmHistory");
  EXPECT_THROW(logFile.generateFiles(25), std::runtime_error);
  EXPECT_FALSE(fileExists(workPath("logAlarm.csv")));
}

TEST_F(AlarmLogFile, ExportIsRemovedWhenTheLogFileObjectEnds) {
  auto logFile = std::make_unique<UpsEventLogFile>(workPath("logAlarm.csv"));
  ASSERT_EQ(logFile->generateFiles(25), 0);
  EXPECT_EQ(readFile(workPath("logAlarm.csv")), kAlarmHeader);
  logFile.reset();
  EXPECT_FALSE(fileExists(workPath("logAlarm.csv")));
}

}  // namespace
}  // namespace emailservice
