#include "logfiles/SystemEventLogFile.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CLocaleBlanks.h"
#include "CardPaths.h"
#include "logfiles/LogCopyFile.h"
#include "logfiles/LogLineReader.h"
#include "logfiles/LogTimestamp.h"
#include "zorvan/Exec.h"

namespace emailservice {

namespace {

constexpr char const kTailScript[] = "tailLogFiles.sh";
constexpr char const kSystemLog[] = "logSystem.csv";
constexpr char const kUpdateLog[] = "logUpdate.csv";
constexpr char const kAccountLog[] = "logAccount.csv";
constexpr char const kSessionLog[] = "logSession.csv";

// The timestamp is read from at most this many characters other than blanks: the 19 of
// "2024-05-01T10:00:00" and the one after them, which shows where the seconds end.
constexpr std::size_t kStampCharacters = 20;

// The start of a line too long for the reader's buffer, each run of blanks shortened to one. It
// parses as the whole line does, since the parser skips any number of blanks before a number and
// fails on a blank anywhere else; and it holds a few dozen characters, however long the line.
std::string stampTextOf(LogLineReader& input) {
  std::string text;
  std::size_t others = 0;
  input.inspectLine([&text, &others](std::string_view block) {
    for (char const c : block) {
      if (isCLocaleBlank(c) && !text.empty() && isCLocaleBlank(text.back())) {
        continue;
      }
      text += c;
      if (!isCLocaleBlank(c) && ++others == kStampCharacters) {
        return false;
      }
    }
    return true;
  });
  return text;
}

// Whether `text`, the whole of a line or the stamp text of a long one, is stamped at or after
// `fromTime`. A line that does not start with a timestamp has no time at all: it never ends the
// scan, and is dropped with the older lines. The fraction after the first "." is not part of the
// stamp; the parser stops before any "." anyway, so the line can be handed over as it is.
bool isStampedFrom(std::string_view text, long fromTime) {
  std::optional<std::int64_t> const stamp = parseLogTimestamp(text);
  return stamp.has_value() && fromTime <= *stamp;
}

// Passes over the lines before the first one stamped at or after `fromTime`, and stops at the
// text after the last line feed when there is none.
void skipOlderLines(LogLineReader& input, long fromTime) {
  for (;;) {
    LogLineReader::LineStart const line = input.peekLine();
    if (line.terminated) {
      if (isStampedFrom(line.text, fromTime)) {
        return;
      }
      input.skipLine();
    } else if (line.whole || isStampedFrom(stampTextOf(input), fromTime) || !input.skipLine()) {
      return;  // the text after the last line feed, or a long line kept or ending the input
    }
  }
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

// The copy is written in place, truncating an earlier one. Lines are never held whole: the reader's
// buffer holds the start of a long line, enough for its stamp, and the line is skipped or
// streamed. A read error counts as the end of the input. A write that fails removes the copy, so
// that a cut-off copy never looks complete.
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
  skipOlderLines(input, fromTime);
  // The first line kept, or at the end of the input whatever text followed the last line feed.
  if (!input.copyLineTo(write) || !output.write("\n", 1)) {
    return;
  }
  input.drainTo(write);
}

}  // namespace emailservice
