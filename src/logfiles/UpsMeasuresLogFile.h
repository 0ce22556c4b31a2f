// The UPS measures export, "ups.csv".
#pragma once

#include <string>

#include "logfiles/EventLogFile.h"
#include "meslog/MeasuresLog.h"
#include "zorvan/common/TemporaryFile.h"

namespace emailservice {

class UpsMeasuresLogFile final : public EventLogFile {
 public:
  UpsMeasuresLogFile(std::string const& fileName, std::string const& measuresDirectory);

  // The status of the measures export, unchanged.
  std::int32_t generateFiles(unsigned int count) override;
  std::int32_t generateFilesFromDate(long fromTime) override;

 private:
  meslog::MeasuresLog measuresLog;
  zorvan::common::TemporaryFile temporaryFile;
};

}  // namespace emailservice
