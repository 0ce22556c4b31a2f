// The timestamp that starts every data line of the card's logs, "%Y-%m-%dT%H:%M:%S" in UTC.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace emailservice {

// Reads the timestamp at the start of `text` and returns it in seconds since 1970 UTC, or nothing
// when `text` does not start with one. Text after the seconds is ignored.
//
// The result is exactly what strptime(text, "%Y-%m-%dT%H:%M:%S", &tm) followed by timegm(&tm)
// gives, for every input (the logs are scanned line by line, and the system library's parser
// dominates that scan):
// - blanks (isspace in the "C" locale) are skipped before every number;
// - a number takes up to 4 (year) or 2 digits, and stops early when one more digit would exceed
//   its maximum; its range is year 0-9999, month 1-12, day 1-31, hour 0-23, minute 0-59,
//   second 0-61; a number out of range fails the parse;
// - a NUL character ends the text, as it ends a C string;
// - fields are normalised as timegm does (day 31 of a 30-day month is the 1st of the next month,
//   second 60 the next minute); a time that does not fit time_t gives -1, timegm's error value.
std::optional<std::int64_t> parseLogTimestamp(std::string_view text);

}  // namespace emailservice
