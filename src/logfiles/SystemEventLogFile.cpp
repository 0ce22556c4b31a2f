#include "logfiles/SystemEventLogFile.h"

#include <cstddef>
#include <exception>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "logfiles/LogCopyFile.h"
#include "logfiles/LogDateCut.h"
#include "logfiles/LogLineReader.h"
#include "zorvan/Exec.h"

namespace emailservice {

namespace {

constexpr char const kTailScript[] = "tailLogFiles.sh";
constexpr char const kSystemLog[] = "logSystem.csv";
constexpr char const kUpdateLog[] = "logUpdate.csv";
constexpr char const kAccountLog[] = "logAccount.csv";
constexpr char const kSessionLog[] = "logSession.csv";

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

// The copy is written in place, truncating an earlier one. Lines are never held whole: the
// reader's buffer holds the start of a long line, enough for its stamp, and the line is skipped
// or streamed. A read error counts as the end of the input. A write that fails removes the copy,
// so that a cut-off copy never looks complete.
void SystemEventLogFile::tailFromDate(std::string const& fileName, long fromTime) const {
  LogLineReader input(std::string(paths::kSystemLogDirectory) + fileName);
  if (!input.isOpen()) {
    return;
  }
  LogCopyFile output(logFileName + fileName);
  if (!output.isOpen()) {
    return;
  }
  auto const write = [&output](char const* data, std::size_t size) { return output.write(data, size); };
  if (!input.copyLineTo(write) || !output.write("\n", 1)) {
    return;
  }
  LogDateCut(fromTime).skipOlderLines(input);
  // The first line kept, or at the end of the input whatever text followed the last line feed.
  if (!input.copyLineTo(write) || !output.write("\n", 1)) {
    return;
  }
  input.drainTo(output);
}

}  // namespace emailservice
