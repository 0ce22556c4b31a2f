#include "logfiles/LogDateCut.h"

#include <cstdint>
#include <cstring>
#include <ctime>
#include <optional>

#include "CLocaleBlanks.h"
#include "logfiles/LogCopyFile.h"
#include "logfiles/LogLineReader.h"
#include "logfiles/LogTimestamp.h"

namespace emailservice {

namespace {

constexpr std::size_t kStampLength = 19;  // "YYYY-MM-DDTHH:MM:SS"
// Where the three eight-byte words that cover a stamp start.
constexpr std::size_t kWordStarts[] = {0, 8, 11};

// The years whose every second time_t holds, so that the parser gives every canonical stamp its
// time and never timegm's error value.
constexpr bool kWideTime = sizeof(std::time_t) >= sizeof(std::int64_t);
constexpr int kFirstYear = kWideTime ? 0 : 1902;
constexpr int kLastYear = kWideTime ? 9999 : 2037;

// The timestamp of a line too long for the reader's buffer is read from at most this many
// characters other than blanks: the 19 of "2024-05-01T10:00:00" and the one after them, which
// shows where the seconds end.
constexpr std::size_t kStampCharacters = 20;

// The canonical stamp's bytes, '0' standing for any digit.
constexpr char kStampPattern[] = "0000-00-00T00:00:00";

// Eight bytes of `text` as one word, in the machine's byte order. The checks below work on each
// byte of a word apart and never carry from one byte into the next, so the order does not matter.
std::uint64_t wordAt(char const* text) {
  std::uint64_t word = 0;
  std::memcpy(&word, text, sizeof word);
  return word;
}

// Whether the eight bytes at `text` hold a digit where kStampPattern's bytes at `at` hold '0', and
// those same bytes elsewhere. Each byte, xor its pattern byte, must be 0 for a literal and 0 to 9
// for a digit: its high four bits clear, and still clear after adding 6.
bool matchesPatternAt(char const* text, std::size_t at) {
  constexpr std::uint64_t kOnes = ~std::uint64_t{0} / 255;  // 0x0101...01
  std::uint64_t digits = 0;  // 0x01 in every byte that holds a digit
  for (std::size_t i = 0; i < sizeof digits; ++i) {
    std::uint64_t const isDigit = kStampPattern[at + i] == '0' ? 1 : 0;
    std::memcpy(reinterpret_cast<char*>(&digits) + i, &isDigit, 1);
  }
  std::uint64_t const bits = wordAt(text) ^ wordAt(kStampPattern + at);
  std::uint64_t const checked = digits * 0xF0 | (kOnes - digits) * 0xFF;
  return ((bits | (bits + digits * 6)) & checked) == 0;
}

// Eight bytes of `text` as a number whose first byte is the most significant: such numbers
// compare as the bytes do. Written out, so that compilers make it one load and a byte swap.
std::uint64_t bigEndianAt(char const* text) {
  auto const byte = [text](int i, int shift) { return std::uint64_t{static_cast<unsigned char>(text[i])} << shift; };
  return byte(0, 56) | byte(1, 48) | byte(2, 40) | byte(3, 32) | byte(4, 24) | byte(5, 16) | byte(6, 8) | byte(7, 0);
}

// The number that the two digits at `text` write.
unsigned twoDigits(char const* text) {
  return static_cast<unsigned>(text[0] - '0') * 10 + static_cast<unsigned>(text[1] - '0');
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

}  // namespace

static_assert(sizeof(std::time_t) >= sizeof(long), "every start time is a time_t");

LogDateCut::LogDateCut(long startTime, Reading reading) : fromTime(startTime) {
  std::time_t const time = startTime;
  std::tm fields{};
  if (reading == Reading::kParserOnly || gmtime_r(&time, &fields) == nullptr ||
      fields.tm_year < kFirstYear - 1900 || fields.tm_year > kLastYear - 1900) {
    return;
  }
  char text[] = "0000-00-00T00:00:00";
  putDigits(text, fields.tm_year + 1900, 4);
  putDigits(text + 5, fields.tm_mon + 1, 2);
  putDigits(text + 8, fields.tm_mday, 2);
  putDigits(text + 11, fields.tm_hour, 2);
  putDigits(text + 14, fields.tm_min, 2);
  putDigits(text + 17, fields.tm_sec, 2);
  for (std::size_t i = 0; i < 3; ++i) {
    fromWords[i] = bigEndianAt(text + kWordStarts[i]);
  }
  byBytes = true;
}

bool LogDateCut::hasCanonicalStamp(std::string_view text) {
  if (text.size() < kStampLength) {
    return false;
  }
  char const* const s = text.data();
  for (std::size_t const at : kWordStarts) {
    if (!matchesPatternAt(s + at, at)) {
      return false;
    }
  }
  // The digits' values: a minute or a second is at most 59 when its first digit is at most 5.
  unsigned const month = twoDigits(s + 5);
  unsigned const day = twoDigits(s + 8);
  if (month < 1 || month > 12 || day < 1 || twoDigits(s + 11) > 23 || s[14] > '5' || s[17] > '5') {
    return false;
  }
  unsigned const year = twoDigits(s) * 100 + twoDigits(s + 2);
  bool const yearFits = kWideTime || (static_cast<int>(year) >= kFirstYear && static_cast<int>(year) <= kLastYear);
  return yearFits && (day <= 28 || day <= lastDayOf(year, month));
}

// A line that does not start with a timestamp has no time at all: it never ends the scan, and is
// dropped with the older lines. The fraction after the first "." is not part of the stamp; the
// parser stops before any "." anyway, so the line can be handed over as it is.
bool LogDateCut::isStampedFrom(std::string_view text) const {
  if (byBytes && hasCanonicalStamp(text)) {
    return isBytewiseFrom(text.data());
  }
  std::optional<std::int64_t> const stamp = parseLogTimestamp(text);
  return stamp.has_value() && fromTime <= *stamp;
}

// The stamp's 19 bytes compared with the start time's as three overlapping words: bytes 0-7,
// 8-15 and 11-18.
bool LogDateCut::isBytewiseFrom(char const* stamp) const {
  for (std::size_t i = 0; i < 2; ++i) {
    std::uint64_t const word = bigEndianAt(stamp + kWordStarts[i]);
    if (word != fromWords[i]) {
      return word > fromWords[i];
    }
  }
  return bigEndianAt(stamp + kWordStarts[2]) >= fromWords[2];
}

// Passes over the lines before the first one stamped at or after the start, and stops at the text
// after the last line feed when there is none.
void LogDateCut::skipOlderLines(LogLineReader& input) const {
  auto const isFrom = [this](std::string_view text) { return isStampedFrom(text); };
  for (;;) {
    if (input.skipBufferedLinesUntil(isFrom)) {
      return;
    }
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
