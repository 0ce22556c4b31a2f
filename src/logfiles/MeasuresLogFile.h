// A measures export of the measures service: the UPS one ("ups.csv") and the sensor one
// ("sensors.csv") differ only in their file and the service's directory.
#pragma once

#include <string>

#include "logfiles/EventLogFile.h"
#include "meslog/MeasuresLog.h"
#include "zorvan/common/TemporaryFile.h"

namespace emailservice {

// Built as: the EventLogFile part with the file name, the MeasuresLog on the directory, then the
// guard that disposes of the file when the export ends.
class MeasuresLogFile : public EventLogFile {
 public:
  MeasuresLogFile(std::string const& fileName, std::string const& measuresDirectory);

  // The status of the measures export, unchanged.
  std::int32_t generateFiles(unsigned int count) override;
  std::int32_t generateFilesFromDate(long fromTime) override;

 private:
  meslog::MeasuresLog measuresLog;
  zorvan::common::TemporaryFile temporaryFile;
};

}  // namespace emailservice
