// The measures log service of the simulated card.
//
// A measures directory holds "records.csv": its first line names the columns, the first column
// being the time of the record in seconds since 1970 UTC; every other non-empty line is one
// record, oldest first. Lines may end in CR LF.
//
// The export writes the header line unchanged, then the chosen records with their first field
// written "%F %T" in UTC and the rest of the line unchanged, each line ending in a line feed:
// - kRecentExport: the records of the last 24 hours up to the newest record (a record exactly
//   24 hours older than the newest is included);
// - kExportFromDate: the records stamped at or after the start time.
// Records keep the order of the file. A record whose time is not a whole number of seconds
// (optionally negative, no blanks) or cannot be written as a date makes the records unreadable
// (kBadRecords): the export is all or nothing. A records file without any line, or none at all,
// is kNoRecords; a header without records gives a file that holds only the header.
//
// The file is written under a temporary name and renamed into place; on any failure no file is
// left at the output path.

#include "meslog/MeasuresLog.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <vector>

#include "WholeFile.h"
#include "dravo/CTimestamp.h"

namespace meslog {

namespace {

constexpr std::int64_t kRecentSeconds = std::int64_t{24} * 60 * 60;
constexpr char const kRecordsFile[] = "/records.csv";

struct Record {
  std::int64_t time;
  std::string line;  // the CSV line with its time written as a date
};

std::optional<std::int64_t> parseSeconds(std::string const& field) {
  bool const negative = !field.empty() && field[0] == '-';
  std::string const digits = negative ? field.substr(1) : field;
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) {
    return std::nullopt;
  }
  errno = 0;
  long long const value = std::strtoll(field.c_str(), nullptr, 10);
  if (errno == ERANGE) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(value);
}

std::vector<std::string> splitLines(std::string const& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t const feed = std::min(text.find('\n', start), text.size());
    std::string line = text.substr(start, feed - start);
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    lines.push_back(std::move(line));
    start = feed + 1;
  }
  return lines;
}

std::optional<Record> parseRecord(std::string const& line) {
  std::size_t const comma = std::min(line.find(','), line.size());
  std::optional<std::int64_t> const time = parseSeconds(line.substr(0, comma));
  if (!time) {
    return std::nullopt;
  }
  std::string const date = dravo::CTimestamp(*time).get_time_str(true, "%F %T");
  if (date.empty()) {
    return std::nullopt;
  }
  return Record{*time, date + line.substr(comma)};
}

// The lines of the records file, or a status when it cannot be had.
std::int32_t readRecordLines(std::string const& directory, std::vector<std::string>& lines) {
  std::ifstream in(directory + kRecordsFile, std::ios::binary);
  if (!in.is_open()) {
    return MeasuresLog::kNoRecords;
  }
  std::string text;
  char block[4096];
  while (in.read(block, sizeof block) || in.gcount() > 0) {
    text.append(block, static_cast<std::size_t>(in.gcount()));
  }
  if (in.bad()) {
    return MeasuresLog::kBadRecords;  // e.g. "records.csv" is a directory
  }
  lines = splitLines(text);
  return lines.empty() ? MeasuresLog::kNoRecords : MeasuresLog::kOk;
}

std::int32_t exportRecords(int exportKind, std::string const& directory, std::string const& outputFile, long fromTime) {
  if (exportKind != MeasuresLog::kRecentExport && exportKind != MeasuresLog::kExportFromDate) {
    return MeasuresLog::kUnknownExport;
  }
  std::vector<std::string> lines;
  if (std::int32_t const status = readRecordLines(directory, lines); status != MeasuresLog::kOk) {
    return status;
  }
  std::vector<Record> records;
  for (auto line = lines.begin() + 1; line != lines.end(); ++line) {
    if (line->empty()) {
      continue;
    }
    std::optional<Record> record = parseRecord(*line);
    if (!record) {
      return MeasuresLog::kBadRecords;
    }
    records.push_back(std::move(*record));
  }
  std::int64_t start = fromTime;
  if (exportKind == MeasuresLog::kRecentExport) {
    std::int64_t newest = records.empty() ? 0 : records.front().time;
    for (Record const& record : records) {
      newest = std::max(newest, record.time);
    }
    start = newest - kRecentSeconds;
  }
  std::string csv = lines.front() + "\n";
  for (Record const& record : records) {
    if (record.time >= start) {
      csv += record.line + "\n";
    }
  }
  return simcard::replaceFileWhole(outputFile, csv) ? MeasuresLog::kOk : MeasuresLog::kOutputError;
}

}  // namespace

MeasuresLog::MeasuresLog(std::string const& measuresDirectory) : directory(measuresDirectory) {}

std::int32_t MeasuresLog::exportCsvSaveToFile(int exportKind, std::string const& outputFile, long fromTime) {
  std::int32_t const status = exportRecords(exportKind, directory, outputFile, fromTime);
  if (status != kOk) {
    std::remove(outputFile.c_str());
  }
  return status;
}

}  // namespace meslog
