// Utility library: export of the alarm history as a CSV file.
#pragma once

#include <string>

#include "cdsapi/CdsAccessor.h"

namespace zorvan {

class AlarmExport {
 public:
  // Keeps a copy of `path`, opens its own data store client ("Alarm export", read only) and reads
  // the alarm history number 1.
  explicit AlarmExport(std::string const& path);

  // Writes the latest `count` alarms to the path. With `newestFirst` true the newest alarm comes
  // first. Returns 0 when the file was written, non-zero otherwise.
  int generateFiles(unsigned int count, bool newestFirst);
  // Writes every alarm that became active at or after `fromTime` (seconds since 1970 UTC), oldest
  // first. Returns 0 when the file was written, non-zero otherwise.
  int generateFilesFromDate(unsigned int fromTime);

 private:
  std::string path;
  cdsapi::CdsAccessor cdsAccessor;
  unsigned long long historyId;
};

}  // namespace zorvan
