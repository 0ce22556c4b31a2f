// An alarm whose level has no entry in the table: the whole call never composes it (the
// scenarios show that); the kind itself attaches nothing either, whoever asks it.
#include <gtest/gtest.h>

#include "cdsapi/CdsAccessor.h"
#include "dravo_config.pb.h"
#include "kinds/EmailNotifsConfig.h"
#include "logfiles/EventLogFile.h"

namespace emailservice {
namespace {

class CountingLogFile final : public EventLogFile {
 public:
  CountingLogFile() : EventLogFile("/nowhere/logAlarm.csv") {}
  std::int32_t generateFiles(unsigned int /*count*/) override { return ++calls, 0; }
  std::int32_t generateFilesFromDate(long /*fromTime*/) override { return ++calls, 0; }
  int calls = 0;
};

TEST(EmailNotifsConfigTest, LevelWithoutEntryAttachesNothing) {
  dravo::proto::EventConfigurationTable table;
  for (auto* entry : {table.mutable_critical(), table.mutable_warning(), table.mutable_informational()}) {
    entry->mutable_subscribed()->set_value(true);
    entry->mutable_alarmlogselected()->set_value(true);
    entry->mutable_measurelogselected()->set_value(true);
  }
  cdsapi::CdsAccessor accessor;
  CountingLogFile alarmExport;
  std::string const body = "/nowhere/4ups.txt";
  EmailEvent const event{EventType::Ups, "2024-05-01 13:07:42", 4, "1A2B", 1, "Battery low"};
  EmailNotifsConfig alarm(accessor, event, alarmExport, body, table);
  alarm.attachLogFiles();
  EXPECT_EQ(alarm.getAttachments(), "");
  EXPECT_EQ(alarmExport.calls, 0);
}

}  // namespace
}  // namespace emailservice
