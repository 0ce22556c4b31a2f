#include "logfiles/MeasuresLogFile.h"

namespace emailservice {

MeasuresLogFile::MeasuresLogFile(std::string const& fileName, std::string const& measuresDirectory)
    : EventLogFile(fileName), measuresLog(measuresDirectory), temporaryFile(logFileName, false) {}

// The measures service always exports its latest records here; the count of entries that other
// logs take is not a notion of that service.
std::int32_t MeasuresLogFile::generateFiles(unsigned int /*count*/) {
  return measuresLog.exportCsvSaveToFile(meslog::MeasuresLog::kRecentExport, logFileName, 0);
}

std::int32_t MeasuresLogFile::generateFilesFromDate(long fromTime) {
  return measuresLog.exportCsvSaveToFile(meslog::MeasuresLog::kExportFromDate, logFileName, fromTime);
}

}  // namespace emailservice
