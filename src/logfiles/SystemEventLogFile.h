// The card's own logs (system, update, account, session), cut into copies under the work
// directory: by count through the card's script, or from a UTC time by the library itself.
#pragma once

#include <string>

#include "logfiles/EventLogFile.h"

namespace emailservice {

class SystemEventLogFile final : public EventLogFile {
 public:
  // `directory` is the output directory and ends in "/".
  explicit SystemEventLogFile(std::string const& directory);

  // Runs "tailLogFiles.sh <directory> <count>"; 0, or -1 when the script could not be run.
  std::int32_t generateFiles(unsigned int count) override;
  // Cuts the four logs from `fromTime` on; always 0.
  std::int32_t generateFilesFromDate(long fromTime) override;
  // " D/logUpdate.csv D/logAccount.csv D/logSession.csv D/logSystem.csv", D being the directory.
  std::string getLogFileName() const override;

  // Copies the log `fileName` of the card's log directory into the output directory: the header
  // line, then every line from the first one stamped at or after `fromTime` on.
  void tailFromDate(std::string const& fileName, long fromTime) const;
};

}  // namespace emailservice
