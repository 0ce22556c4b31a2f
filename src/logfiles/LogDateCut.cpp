#include "logfiles/LogDateCut.h"

#include <cstdint>
#include <cstring>
#include <ctime>
#include <optional>

#include "logfiles/LogCopyFile.h"
#include "logfiles/LogLineReader.h"
#include "logfiles/LogTimestamp.h"

namespace emailservice {

namespace {

constexpr std::size_t kStampLength = 19;  // "YYYY-MM-DDTHH:MM:SS"

// The years whose every second time_t holds, so that the parser gives every canonical stamp its
// time and never timegm's error value.
constexpr bool kWideTime = sizeof(std::time_t) >= sizeof(std::int64_t);
constexpr int kFirstYear = kWideTime ? 0 : 1902;
constexpr int kLastYear = kWideTime ? 9999 : 2037;

// The timestamp of a line too long for the reader's buffer is read from at most this many
// characters other than blanks: the 19 of "2024-05-01T10:00:00" and the one after them, which
// shows where the seconds end.
constexpr std::size_t kStampCharacters = 20;

// The value of a digit; above 9 for any other character.
unsigned digitOf(char c) { return static_cast<unsigned>(static_cast<unsigned char>(c)) - unsigned{'0'}; }

// The number that the two digits at `text` write; 100 when either is not a digit.
unsigned twoDigits(char const* text) {
  unsigned const tens = digitOf(text[0]);
  unsigned const ones = digitOf(text[1]);
  return tens > 9 || ones > 9 ? 100 : tens * 10 + ones;
}

unsigned lastDayOf(unsigned year, unsigned month) {
  static constexpr unsigned char kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool const leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return kDays[month - 1] + (month == 2 && leap ? 1U : 0U);
}

// Writes `value` as `width` decimal digits, leading zeros included.
void putDigits(char* at, int value, int width) {
  for (int i = width - 1; i >= 0; --i, value /= 10) {
    at[i] = static_cast<char>('0' + value % 10);
  }
}

// The blanks that the timestamp parser skips before each number: isspace() of the "C" locale.
bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The start of a line too long for the reader's buffer, each run of blanks shortened to one. It
// parses as the whole line does, since the parser skips any number of blanks before a number and
// fails on a blank anywhere else; and it holds a few dozen characters, however long the line.
std::string stampTextOf(LogLineReader& input) {
  std::string text;
  std::size_t others = 0;
  input.inspectLine([&text, &others](std::string_view block) {
    for (char const c : block) {
      if (isBlank(c) && !text.empty() && isBlank(text.back())) {
        continue;
      }
      text += c;
      if (!isBlank(c) && ++others == kStampCharacters) {
        return false;
      }
    }
    return true;
  });
  return text;
}

}  // namespace

static_assert(sizeof(std::time_t) >= sizeof(long), "every start time is a time_t");

LogDateCut::LogDateCut(long startTime, Reading reading) : fromTime(startTime) {
  std::time_t const time = startTime;
  std::tm fields{};
  if (reading == Reading::kParserOnly || gmtime_r(&time, &fields) == nullptr ||
      fields.tm_year < kFirstYear - 1900 || fields.tm_year > kLastYear - 1900) {
    return;
  }
  std::memcpy(fromText, "0000-00-00T00:00:00", kStampLength);
  putDigits(fromText, fields.tm_year + 1900, 4);
  putDigits(fromText + 5, fields.tm_mon + 1, 2);
  putDigits(fromText + 8, fields.tm_mday, 2);
  putDigits(fromText + 11, fields.tm_hour, 2);
  putDigits(fromText + 14, fields.tm_min, 2);
  putDigits(fromText + 17, fields.tm_sec, 2);
  byBytes = true;
}

bool LogDateCut::hasCanonicalStamp(std::string_view text) {
  if (text.size() < kStampLength) {
    return false;
  }
  char const* const s = text.data();
  unsigned const century = twoDigits(s);
  unsigned const yearOfCentury = twoDigits(s + 2);
  unsigned const month = twoDigits(s + 5);
  if (century > 99 || yearOfCentury > 99 || month < 1 || month > 12 || s[4] != '-' || s[7] != '-' || s[10] != 'T' ||
      s[13] != ':' || s[16] != ':') {
    return false;
  }
  unsigned const year = century * 100 + yearOfCentury;
  unsigned const day = twoDigits(s + 8);
  return static_cast<int>(year) >= kFirstYear && static_cast<int>(year) <= kLastYear && day >= 1 &&
         day <= lastDayOf(year, month) && twoDigits(s + 11) <= 23 && twoDigits(s + 14) <= 59 && twoDigits(s + 17) <= 59;
}

// A line that does not start with a timestamp has no time at all: it never ends the scan, and is
// dropped with the older lines. The fraction after the first "." is not part of the stamp; the
// parser stops before any "." anyway, so the line can be handed over as it is.
bool LogDateCut::isStampedFrom(std::string_view text) const {
  if (byBytes && hasCanonicalStamp(text)) {
    return std::memcmp(text.data(), fromText, kStampLength) >= 0;
  }
  std::optional<std::int64_t> const stamp = parseLogTimestamp(text);
  return stamp.has_value() && fromTime <= *stamp;
}

// Passes over the lines before the first one stamped at or after the start, and stops at the text
// after the last line feed when there is none.
void LogDateCut::skipOlderLines(LogLineReader& input) const {
  for (;;) {
    LogLineReader::LineStart const line = input.peekLine();
    if (line.terminated) {
      if (isStampedFrom(line.text)) {
        return;
      }
      input.skipLine();
    } else if (line.whole || isStampedFrom(stampTextOf(input)) || !input.skipLine()) {
      return;  // the text after the last line feed, or a long line kept or ending the input
    }
  }
}

// Lines are never held whole: the reader's buffer holds the start of a long line, enough for its
// stamp, and the line is skipped or streamed. A read error counts as the end of the input.
void LogDateCut::copy(std::string const& source, std::string const& target) const {
  LogLineReader input(source);
  if (!input.isOpen()) {
    return;
  }
  LogCopyFile output(target);
  if (!output.isOpen()) {
    return;
  }
  auto const write = [&output](char const* data, std::size_t size) { return output.write(data, size); };
  if (!input.copyLineTo(write) || !output.write("\n", 1)) {
    return;
  }
  skipOlderLines(input);
  // The first line kept, or at the end of the input whatever text followed the last line feed.
  if (!input.copyLineTo(write) || !output.write("\n", 1)) {
    return;
  }
  input.drainTo(output);
}

}  // namespace emailservice
