#include "logfiles/SystemEventLogFile.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CardPaths.h"
#include "logfiles/LogLineReader.h"
#include "logfiles/LogTimestamp.h"
#include "logfiles/ReplacementFile.h"
#include "zorvan/Exec.h"

namespace emailservice {

namespace {

constexpr char const kTailScript[] = "tailLogFiles.sh";
constexpr char const kSystemLog[] = "logSystem.csv";
constexpr char const kUpdateLog[] = "logUpdate.csv";
constexpr char const kAccountLog[] = "logAccount.csv";
constexpr char const kSessionLog[] = "logSession.csv";

// Whether a data line is stamped at or after `fromTime`. A line that does not start with a
// timestamp has no time at all: it never ends the scan, and is dropped with the older lines.
bool isStampedFrom(std::string_view line, long fromTime) {
  // The fraction after the first "." is not part of the stamp; the parser stops before any "."
  // anyway, so the whole line can be handed over.
  std::optional<std::int64_t> const stamp = parseLogTimestamp(line);
  return stamp.has_value() && fromTime <= *stamp;
}

bool writeLine(ReplacementFile& output, std::string_view text) {
  return output.write(text.data(), text.size()) && output.write("\n", 1);
}

}  // namespace

SystemEventLogFile::SystemEventLogFile(std::string const& directory) : EventLogFile(directory) {}

// The script's exit status is not checked: like the date cut, the count cut reports only
// whether it could run, and a log it could not copy is simply missing or stale.
std::int32_t SystemEventLogFile::generateFiles(unsigned int count) {
  try {
    std::vector<std::string> const args = {kTailScript, logFileName, std::to_string(count)};
    zorvan::Exec const run(args, 0);
  } catch (std::exception const&) {
    return -1;
  }
  return 0;
}

std::int32_t SystemEventLogFile::generateFilesFromDate(long fromTime) {
  for (char const* name : {kSystemLog, kUpdateLog, kAccountLog, kSessionLog}) {
    tailFromDate(name, fromTime);
  }
  return 0;
}

std::string SystemEventLogFile::getLogFileName() const {
  std::string const& d = logFileName;
  return " " + d + kUpdateLog + " " + d + kAccountLog + " " + d + kSessionLog + " " + d + kSystemLog;
}

// The copy is written under a temporary name and put in place only once it is whole: a source
// that cannot be read to its end, or an output that cannot be written, leaves the earlier copy
// (if any) as it was. Lines are read whole whatever their length.
void SystemEventLogFile::tailFromDate(std::string const& fileName, long fromTime) const {
  LogLineReader input(std::string(paths::kSystemLogDirectory) + fileName);
  if (!input.isOpen()) {
    return;
  }
  ReplacementFile output(logFileName + fileName);
  if (!output.isOpen()) {
    return;
  }
  if (!writeLine(output, input.readLine().text)) {
    return;
  }
  LogLineReader::Line line = input.readLine();
  while (line.terminated && !isStampedFrom(line.text, fromTime)) {
    line = input.readLine();
  }
  // The first line kept, or at the end of the input whatever text followed the last line feed.
  if (!writeLine(output, line.text)) {
    return;
  }
  bool const copied = input.drainTo([&output](char const* data, std::size_t size) { return output.write(data, size); });
  if (copied && !input.failed()) {
    output.commit();
  }
}

}  // namespace emailservice
