// The cut of a card log from a start time, on any log bytes and any start time.
// Input: 8 bytes of start time (big-endian, signed), then the log's bytes.
// Properties: no crash, no hang; the copy is the header line and a line feed, then the first line
// stamped at or after the start (or, when there is none, the text after the last line feed) and a
// line feed, then the rest of the log unchanged. A line holds any byte and has no length limit; a
// line that does not start with a timestamp never ends the scan. Timestamps are read by the
// system library (strptime, timegm) in this model. The cut that reads the card's canonical stamps
// by their bytes decides every line as the stamp parser does.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "CardPaths.h"
#include "FuzzSupport.h"
#include "logfiles/LogDateCut.h"
#include "logfiles/LogTimestamp.h"
#include "logfiles/SystemEventLogFile.h"

namespace {

using emailservice::fuzz::check;

// The time that starts `line`: the text up to its first "." read with strptime and timegm.
std::optional<std::int64_t> stampOf(std::string const& line) {
  std::string const text = line.substr(0, line.find('.'));
  std::tm fields{};
  if (strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &fields) == nullptr) {
    return std::nullopt;
  }
  fields.tm_isdst = -1;
  return std::int64_t{timegm(&fields)};
}

// The input's start time as the `long` that the cut takes: where a long has 32 bits (the card), its
// low 32 bits, so that every start time the card can pass is still reached. A template, so that the
// cast is not a useless one where std::int64_t already is long.
template <typename Wide>
long startTimeOf(Wide value) {
  return static_cast<long>(value);
}

// Whether every line of `log` is decided alike by the cut, which reads canonical stamps by their
// bytes, and by the stamp parser.
bool decidedAlike(std::string const& log, long fromTime) {
  emailservice::LogDateCut const cut(fromTime);
  for (std::string::size_type begin = 0; begin <= log.size();) {
    std::string::size_type const end = std::min(log.find('\n', begin), log.size());
    std::string_view const line(log.data() + begin, end - begin);
    std::optional<std::int64_t> const stamp = emailservice::parseLogTimestamp(line);
    if (cut.isStampedFrom(line) != (stamp.has_value() && fromTime <= *stamp)) {
      return false;
    }
    begin = end + 1;
  }
  return true;
}

std::string expectedCopy(std::string const& log, long fromTime) {
  auto const headerEnd = log.find('\n');
  if (headerEnd == std::string::npos) {
    return log + "\n\n";
  }
  std::string copy = log.substr(0, headerEnd) + "\n";
  std::string::size_type begin = headerEnd + 1;
  for (;;) {
    auto const end = log.find('\n', begin);
    if (end == std::string::npos) {
      return copy + log.substr(begin) + "\n";
    }
    std::string const line = log.substr(begin, end - begin);
    auto const stamp = stampOf(line);
    if (stamp && fromTime <= *stamp) {
      return copy + line + "\n" + log.substr(end + 1);
    }
    begin = end + 1;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  emailservice::fuzz::prepareCardDirectories();
  static emailservice::SystemEventLogFile logs(emailservice::paths::kWorkDirectory);
  static std::string const source = std::string(emailservice::paths::kSystemLogDirectory) + "logSession.csv";
  static std::string const copy = std::string(emailservice::paths::kWorkDirectory) + "logSession.csv";

  emailservice::fuzz::FuzzInput input(data, size);
  long const fromTime = startTimeOf(input.int64());
  std::string const log = input.rest();
  emailservice::fuzz::writeWholeFile(source, log);

  logs.tailFromDate("logSession.csv", fromTime);

  std::string const produced = emailservice::fuzz::readWholeFile(copy);
  check(produced == expectedCopy(log, fromTime), "the copy is header, first line from the start time, rest",
        "from " + std::to_string(fromTime) + "\nlog [" + log + "]\ncopy [" + produced + "]");
  check(decidedAlike(log, fromTime), "every line is decided alike by its bytes and by the parser",
        "from " + std::to_string(fromTime) + "\nlog [" + log + "]");
  return 0;
}
