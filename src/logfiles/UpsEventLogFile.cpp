#include "logfiles/UpsEventLogFile.h"

namespace emailservice {

UpsEventLogFile::UpsEventLogFile(std::string const& fileName)
    : EventLogFile(fileName), alarmExport(logFileName), temporaryFile(logFileName, false) {}

// The export's own status is not passed on: the e-mail goes out with whatever file the export
// left, and an export that wrote nothing shows only as a missing attachment.
std::int32_t UpsEventLogFile::generateFiles(unsigned int count) {
  static_cast<void>(alarmExport.generateFiles(count, true));
  return 0;
}

std::int32_t UpsEventLogFile::generateFilesFromDate(long fromTime) {
  static_cast<void>(alarmExport.generateFilesFromDate(static_cast<unsigned int>(fromTime)));
  return 0;
}

}  // namespace emailservice
