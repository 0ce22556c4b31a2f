#include "logfiles/LogTimestamp.h"

#include <ctime>
#include <limits>

#include "CLocaleBlanks.h"

namespace emailservice {

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// A cursor over the text that reads as the system library's parser does.
class StampCursor {
 public:
  explicit StampCursor(std::string_view text) : next(text.data()), end(text.data() + text.size()) {}

  // The current character; '\0' past the end, so that the end and a NUL read alike.
  char peek() const { return next < end ? *next : '\0'; }

  bool literal(char expected) {
    if (peek() != expected) {
      return false;
    }
    ++next;
    return true;
  }

  // Skips blanks, then takes up to `digits` digits, stopping before a digit that would take the
  // value above `high`; fails unless it read a digit and the value is within [low, high].
  bool number(int low, int high, int digits, int& value) {
    while (isCLocaleBlank(peek())) {
      ++next;
    }
    if (!isDigit(peek())) {
      return false;
    }
    value = 0;
    do {
      value = value * 10 + (*next++ - '0');
    } while (--digits > 0 && value * 10 <= high && isDigit(peek()));
    return value >= low && value <= high;
  }

 private:
  char const* next;
  char const* end;
};

// Days from 1970-01-01 to the first of `month` (1-12) of `year`, proleptic Gregorian calendar.
std::int64_t daysToMonthStart(std::int64_t year, int month) {
  std::int64_t const y = month <= 2 ? year - 1 : year;
  std::int64_t const era = (y >= 0 ? y : y - 399) / 400;
  std::int64_t const yearOfEra = y - era * 400;
  std::int64_t const shiftedMonth = month > 2 ? month - 3 : month + 9;  // March is 0
  std::int64_t const dayOfYear = (153 * shiftedMonth + 2) / 5;
  std::int64_t const dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

// timegm() answers -1 for a time that its time_t cannot hold.
std::int64_t fitTimeT(std::int64_t seconds) {
  if constexpr (sizeof(std::time_t) < sizeof(std::int64_t)) {
    if (seconds < std::numeric_limits<std::time_t>::min() || seconds > std::numeric_limits<std::time_t>::max()) {
      return -1;
    }
  }
  return seconds;
}

}  // namespace

std::optional<std::int64_t> parseLogTimestamp(std::string_view text) {
  StampCursor cursor(text);
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  bool const parsed = cursor.number(0, 9999, 4, year) && cursor.literal('-') && cursor.number(1, 12, 2, month) &&
                      cursor.literal('-') && cursor.number(1, 31, 2, day) && cursor.literal('T') &&
                      cursor.number(0, 23, 2, hour) && cursor.literal(':') && cursor.number(0, 59, 2, minute) &&
                      cursor.literal(':') && cursor.number(0, 61, 2, second);
  if (!parsed) {
    return std::nullopt;
  }
  // Linear in every field, so days past the month's end and leap seconds carry over as timegm
  // normalises them.
  std::int64_t const days = daysToMonthStart(year, month) + day - 1;
  return fitTimeT(days * kSecondsPerDay + std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second);
}

}  // namespace emailservice
