// The stamp parser against the system library, and the stamps that the date cut reads by their
// bytes: every decision is the parser's.
#include "logfiles/LogDateCut.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "logfiles/LogTimestamp.h"

namespace emailservice::testing {
namespace {

// Stamps with every field at and around its boundaries (February 29 of 1900, 2000 and 2100, the
// 30th and 31st of every month, hour 24, minute 60, second 60 and 61, years 0 and 9999), half of
// them without their leading zeros, some with one character replaced or inserted (NUL included:
// it ends the text, as in a C string), and start times at the stamp's own time, a second on either
// side, or anywhere. The parser gives what strptime with the log's format, then timegm, give (it
// gets a view of the text followed by a digit that it must not read); the cut that reads canonical
// stamps by their bytes decides as the parser does.
TEST(LogDateCut, ReadsStampsAsTheSystemLibraryAndCanonicalStampsByTheirBytes) {
  static constexpr int kYears[] = {0,    1,    999,  1899, 1900, 1901, 1902, 1969, 1970,
                                   1999, 2000, 2024, 2037, 2038, 2100, 2400, 9999};
  static constexpr int kMonths[] = {0, 1, 2, 3, 4, 9, 10, 11, 12, 13, 19, 20};
  static constexpr int kDays[] = {0, 1, 9, 10, 19, 27, 28, 29, 30, 31, 32, 39, 40};
  static constexpr int kHours[] = {0, 9, 10, 19, 20, 23, 24, 29, 30};
  static constexpr int kMinutes[] = {0, 9, 10, 59, 60, 69};
  static constexpr int kSeconds[] = {0, 9, 10, 59, 60, 61, 62, 69, 70, 99};
  static constexpr char const* kTails[] = {".123,Info", "", "7", ":"};
  static constexpr char kAlphabet[] = "0123456789-T: \t\n\v\f\r.,xt+";  // and its final NUL
  std::mt19937 random(20241124);
  auto pick = [&random](auto const& values) {
    return values[std::uniform_int_distribution<std::size_t>(0, std::size(values) - 1)(random)];
  };
  // A value at a boundary, or half of the time any value in range.
  auto field = [&](auto const& values, int low, int high) {
    return random() % 2 == 0 ? pick(values) : std::uniform_int_distribution<int>(low, high)(random);
  };
  int parsed = 0;
  int byBytes = 0;
  for (int i = 0; i < 300000; ++i) {
    bool const padded = random() % 2 == 0;
    int const width = padded ? 2 : 0;
    char stamp[64];
    std::snprintf(stamp, sizeof stamp, "%0*d-%0*d-%0*dT%0*d:%0*d:%0*d", padded ? 4 : 0, field(kYears, 0, 9999), width,
                  field(kMonths, 1, 12), width, field(kDays, 1, 28), width, field(kHours, 0, 23), width,
                  field(kMinutes, 0, 59), width, field(kSeconds, 0, 59));
    std::string text = stamp + std::string(pick(kTails));
    if (random() % 4 == 0) {
      std::size_t const at = random() % (text.size() + 1);
      char const c = kAlphabet[random() % sizeof kAlphabet];
      at < text.size() && random() % 2 == 0 ? void(text[at] = c) : void(text.insert(at, 1, c));
    }
    std::tm fields{};
    bool const valid = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &fields) != nullptr;
    fields.tm_isdst = -1;
    std::optional<std::int64_t> const expected = valid ? std::optional<std::int64_t>(timegm(&fields)) : std::nullopt;
    std::string const followed = text + "7";
    std::optional<std::int64_t> const time = parseLogTimestamp(std::string_view(followed).substr(0, text.size()));
    ASSERT_EQ(time, expected) << '"' << text << '"';
    long const fromTime = time && random() % 8 != 0 ? static_cast<long>(*time) + static_cast<long>(random() % 3) - 1
                                                    : static_cast<long>(random()) - (1L << 30);
    bool const canonical = LogDateCut::hasCanonicalStamp(text);
    parsed += valid ? 1 : 0;
    byBytes += canonical ? 1 : 0;
    ASSERT_EQ(LogDateCut(fromTime).isStampedFrom(text), time.has_value() && fromTime <= *time)
        << '"' << text << "\" from " << fromTime << (canonical ? ", read by its bytes" : "");
  }
  // Each outcome is well represented.
  EXPECT_GT(parsed, 30000);
  EXPECT_LT(parsed, 270000);
  EXPECT_GT(byBytes, 30000);
  EXPECT_LT(byBytes, 200000);
}

}  // namespace
}  // namespace emailservice::testing
