#include "logfiles/LogDateCut.h"

#include <cstdint>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>

#include "CLocaleBlanks.h"
#include "logfiles/LogLineReader.h"
#include "logfiles/LogTimestamp.h"

namespace emailservice {

namespace {

constexpr std::size_t kStampLength = 19;  // "YYYY-MM-DDTHH:MM:SS"
// The stamp is checked a machine word at a time: 3 words of 8 bytes, or 5 of 4, the last one
// ending with the stamp.
using Word = std::uintptr_t;
constexpr std::size_t kWordSize = sizeof(Word);
constexpr std::size_t kWords = (kStampLength + kWordSize - 1) / kWordSize;
constexpr std::size_t wordStart(std::size_t word) {
  return word + 1 < kWords ? word * kWordSize : kStampLength - kWordSize;
}

// The years whose every second time_t holds, so that the parser gives every canonical stamp its
// time and never timegm's error value.
constexpr bool kWideTime = sizeof(std::time_t) >= sizeof(std::int64_t);
constexpr int kFirstYear = kWideTime ? 0 : 1902;
constexpr int kLastYear = kWideTime ? 9999 : 2037;

// The timestamp of a line too long for the reader's buffer is read from at most this many
// characters other than blanks: the 19 of "2024-05-01T10:00:00" and the one after them, which
// shows where the seconds end.
constexpr std::size_t kStampCharacters = 20;

// The canonical stamp's largest bytes: a digit at most the one shown, the literals as they are.
// Months, days and hours need a second look at their last digit.
constexpr char kStampLimits[] = "9999-19-39T29:59:59";

// A word's bytes as one word, in the machine's byte order. The checks below work on each byte of
// a word apart, so the order does not matter.
Word wordAt(void const* bytes) {
  Word word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// The bytes that check each word of a stamp: each byte, xor its pattern byte ('0' for
// a digit), plus its adder, must keep the checked bits clear. A literal must match (adder 0, all
// bits checked); a digit must be 0 up to its limit d (adder 15 - d, high four bits checked), so
// that a larger value carries into the high bits. A byte that fails may carry into the next one,
// which can only make that one fail too.
struct StampCheck {
  unsigned char pattern[kWords][kWordSize];
  unsigned char adders[kWords][kWordSize];
  unsigned char checked[kWords][kWordSize];
};

constexpr StampCheck makeStampCheck() {
  StampCheck check{};
  for (std::size_t word = 0; word < kWords; ++word) {
    for (std::size_t i = 0; i < kWordSize; ++i) {
      char const limit = kStampLimits[wordStart(word) + i];
      bool const digit = limit >= '0' && limit <= '9';
      check.pattern[word][i] = static_cast<unsigned char>(digit ? '0' : limit);
      check.adders[word][i] = static_cast<unsigned char>(digit ? 15 - (limit - '0') : 0);
      check.checked[word][i] = digit ? 0xF0 : 0xFF;
    }
  }
  return check;
}

constexpr StampCheck kStampCheck = makeStampCheck();

// The number that the two digits at `text` write.
unsigned twoDigits(char const* text) {
  return static_cast<unsigned>(text[0] - '0') * 10 + static_cast<unsigned>(text[1] - '0');
}

// The last day of `month` in the year whose first two digits are `century` and last two
// `yearOfCentury`: a year is a leap year when it divides by 4, and a century's first year when its
// century does (2000, not 1900 or 2100).
unsigned lastDayOf(unsigned century, unsigned yearOfCentury, unsigned month) {
  static constexpr unsigned char kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool const leap = yearOfCentury != 0 ? yearOfCentury % 4 == 0 : century % 4 == 0;
  return kDays[month - 1] + (month == 2 && leap ? 1U : 0U);
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

LogDateCut::LogDateCut(long startTime) : fromTime(startTime) {
  std::time_t const time = startTime;
  std::tm fields{};
  if (gmtime_r(&time, &fields) == nullptr || fields.tm_year < kFirstYear - 1900 || fields.tm_year > kLastYear - 1900) {
    return;
  }
  // Years before 1000 are written with fewer than four digits: their cuts go to the parser.
  if (std::strftime(fromText, sizeof fromText, "%Y-%m-%dT%H:%M:%S", &fields) != kStampLength) {
    return;
  }
  byBytes = true;
}

bool LogDateCut::hasCanonicalStamp(std::string_view text) {
  if (text.size() < kStampLength) {
    return false;
  }
  char const* const s = text.data();
  for (std::size_t i = 0; i < kWords; ++i) {
    Word const bits = wordAt(s + wordStart(i)) ^ wordAt(kStampCheck.pattern[i]);
    if (((bits | (bits + wordAt(kStampCheck.adders[i]))) & wordAt(kStampCheck.checked[i])) != 0) {
      return false;
    }
  }
  unsigned const month = twoDigits(s + 5);
  unsigned const day = twoDigits(s + 8);
  if (month < 1 || month > 12 || day < 1 || twoDigits(s + 11) > 23) {
    return false;
  }
  unsigned const century = twoDigits(s);
  unsigned const yearOfCentury = twoDigits(s + 2);
  auto const year = static_cast<int>(century * 100 + yearOfCentury);
  // Every four-digit year has a time_t where it is 64 bits; where it is 32 bits only 1902 to 2037.
  bool const yearFits = year >= kFirstYear && year <= kLastYear;
  return yearFits && (day <= 28 || day <= lastDayOf(century, yearOfCentury, month));
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

void LogDateCut::skipOlderLines(LogLineReader& input) const {
  auto const isFrom = [this](std::string_view text) { return isStampedFrom(text); };
  for (;;) {
    if (input.skipBufferedLinesUntil(isFrom)) {
      return;
    }
    // Reads on: a line found whole is left to the loop above.
    LogLineReader::LineStart const line = input.peekLine();
    if (!line.terminated && (line.whole || isStampedFrom(stampTextOf(input)) || !input.skipLine())) {
      return;  // the text after the last line feed, or a long line kept or ending the input
    }
  }
}

}  // namespace emailservice
