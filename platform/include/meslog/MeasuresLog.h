// Measures log service: export of the recorded UPS or sensor measures as a CSV file.
#pragma once

#include <cstdint>
#include <string>

namespace meslog {

class MeasuresLog {
 public:
  // Export kinds.
  static constexpr int kRecentExport = 10;    // the latest records
  static constexpr int kExportFromDate = 30;  // the records from a start time on

  // Status codes of exportCsvSaveToFile.
  static constexpr std::int32_t kOk = 0;
  static constexpr std::int32_t kNoRecords = 1;      // the directory or its records are missing
  static constexpr std::int32_t kBadRecords = 2;     // the records cannot be read
  static constexpr std::int32_t kOutputError = 3;    // the output file cannot be written
  static constexpr std::int32_t kUnknownExport = 4;  // the export kind is not one of the above

  // `directory` is where the measures service keeps its records.
  explicit MeasuresLog(std::string const& directory);

  // Writes the records chosen by `exportKind` (and `fromTime`, seconds since 1970 UTC, for
  // kExportFromDate; ignored otherwise) to `outputFile` as CSV. Returns kOk when the file was
  // written whole; otherwise one of the codes above, and no file is left at `outputFile`.
  std::int32_t exportCsvSaveToFile(int exportKind, std::string const& outputFile, long fromTime);

 private:
  std::string directory;
};

}  // namespace meslog
