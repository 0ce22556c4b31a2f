// The alarm history export, "logAlarm.csv".
#pragma once

#include <string>

#include "logfiles/EventLogFile.h"
#include "zorvan/AlarmExport.h"
#include "zorvan/common/TemporaryFile.h"

namespace emailservice {

class UpsEventLogFile final : public EventLogFile {
 public:
  explicit UpsEventLogFile(std::string const& fileName);

  // Both always report 0: a failed export shows only as a missing or stale file.
  std::int32_t generateFiles(unsigned int count) override;
  std::int32_t generateFilesFromDate(long fromTime) override;

 private:
  zorvan::AlarmExport alarmExport;
  zorvan::common::TemporaryFile temporaryFile;
};

}  // namespace emailservice
