#include "logfiles/LogTimestamp.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <optional>
#include <ostream>
#include <random>
#include <string>

namespace emailservice {
namespace {

// What the system library makes of the text: strptime with the log's format, then timegm.
std::optional<std::int64_t> systemLibraryStamp(std::string const& text) {
  std::tm fields{};
  if (strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &fields) == nullptr) {
    return std::nullopt;
  }
  fields.tm_isdst = -1;
  return timegm(&fields);
}

TEST(LogTimestamp, ReadsTheStampAsUtcAndIgnoresWhatFollowsIt) {
  EXPECT_EQ(parseLogTimestamp("2024-05-01T00:00:00"), 1714521600);
  EXPECT_EQ(parseLogTimestamp("2024-05-01T13:07:42.123,Info,User admin"), 1714568862);
  EXPECT_EQ(parseLogTimestamp("1970-01-01T00:00:00"), 0);
  EXPECT_EQ(parseLogTimestamp("1969-12-31T23:59:59"), -1);
}

struct StampCase {
  char const* text;
  bool isStamp;
};

void PrintTo(StampCase const& test, std::ostream* out) { *out << '"' << test.text << '"'; }

class LogTimestampTable : public ::testing::TestWithParam<StampCase> {};

TEST_P(LogTimestampTable, AgreesWithStrptimeAndTimegm) {
  std::string const text = GetParam().text;
  std::optional<std::int64_t> const expected = systemLibraryStamp(text);
  ASSERT_EQ(expected.has_value(), GetParam().isStamp) << "table entry disagrees with the system library";
  EXPECT_EQ(parseLogTimestamp(text), expected) << '"' << text << '"';
}

INSTANTIATE_TEST_SUITE_P(
    StampsAndNonStamps, LogTimestampTable,
    ::testing::Values(StampCase{"2024-05-01T13:07:42", true}, StampCase{"2024-02-29T23:59:59", true},
                      StampCase{"2023-02-29T00:00:00", true},  // day carried into March
                      StampCase{"2024-04-31T12:00:00", true}, StampCase{"2024-12-31T23:59:60", true},
                      StampCase{"2024-12-31T23:59:61", true}, StampCase{"0000-01-01T00:00:00", true},
                      StampCase{"9999-12-31T23:59:59", true}, StampCase{"1600-03-01T00:00:00", true},
                      StampCase{"2024-5-1T3:7:4", true},                // single digits
                      StampCase{" 2024- 05-\t01T 13:\v07:\r42", true},  // blanks before numbers
                      StampCase{"2024-05-01T13:07:4x", true}, StampCase{"2024-05-01T13:07:427", true},
                      StampCase{"2024-13-01T00:00:00", false}, StampCase{"2024-00-01T00:00:00", false},
                      StampCase{"2024-05-00T00:00:00", false}, StampCase{"2024-05-32T00:00:00", false},
                      StampCase{"2024-05-01T24:00:00", false}, StampCase{"2024-05-01T23:60:00", false},
                      StampCase{"2024-05-01T23:59:62", false}, StampCase{"12024-05-01T00:00:00", false},
                      StampCase{"2024-05-01t13:07:42", false}, StampCase{"2024-05-01 13:07:42", false},
                      StampCase{"2024/05/01T13:07:42", false}, StampCase{"-2024-05-01T13:07:42", false},
                      StampCase{"+2024-05-01T13:07:42", false}, StampCase{"2024-05-01T13:07:", false},
                      StampCase{"2024-05-01T13:07 :42", false}, StampCase{"2024-05-01T13", false}, StampCase{"", false},
                      StampCase{"Date,Level,Message", false}, StampCase{".123,Info", false}));

TEST(LogTimestamp, ANulCharacterEndsTheTextAsInACString) {
  using namespace std::string_literals;
  EXPECT_EQ(parseLogTimestamp("2024-05-01T13:07:4\0"s
                              "2"s),
            parseLogTimestamp("2024-05-01T13:07:4"));
  EXPECT_EQ(parseLogTimestamp("2024-05-01T13:\0"s
                              "07:42"s),
            std::nullopt);
}

TEST(LogTimestamp, OnlyTheGivenTextIsRead) {
  std::string const line = "2024-05-01T13:07:42";
  EXPECT_EQ(parseLogTimestamp(std::string_view(line).substr(0, 17)), std::nullopt);
  EXPECT_EQ(parseLogTimestamp(std::string_view(line).substr(0, 18)), parseLogTimestamp("2024-05-01T13:07:4"));
}

// Random stamps with random fields, some with characters inserted or replaced, and random runs of
// the characters that matter to the parser.
std::string randomText(std::mt19937& random) {
  static constexpr char kAlphabet[] = "0123456789-T: \t\r\v\f.,xt+";
  auto pick = [&random](std::size_t size) { return std::uniform_int_distribution<std::size_t>(0, size - 1)(random); };
  std::string text;
  if (pick(4) == 0) {
    for (std::size_t length = pick(24); length > 0; --length) {
      text += kAlphabet[pick(sizeof kAlphabet - 1)];
    }
    return text;
  }
  char stamp[80];
  std::snprintf(stamp, sizeof stamp, "%zu-%zu-%zuT%zu:%zu:%zu", pick(12000), pick(15), pick(35), pick(26), pick(63),
                pick(65));
  text = stamp;
  for (std::size_t edits = pick(4); edits > 0 && pick(2) == 0; --edits) {
    std::size_t const at = pick(text.size() + 1);
    char const c = kAlphabet[pick(sizeof kAlphabet - 1)];
    if (at < text.size() && pick(2) == 0) {
      text[at] = c;
    } else {
      text.insert(at, 1, c);
    }
  }
  return text;
}

TEST(LogTimestamp, AgreesWithStrptimeAndTimegmOnRandomTexts) {
  std::mt19937 random(20240501);
  int stamps = 0;
  for (int i = 0; i < 200000; ++i) {
    std::string const text = randomText(random);
    std::optional<std::int64_t> const expected = systemLibraryStamp(text);
    stamps += expected.has_value() ? 1 : 0;
    ASSERT_EQ(parseLogTimestamp(text), expected) << '"' << text << '"';
  }
  // Both outcomes are well represented.
  EXPECT_GT(stamps, 20000);
  EXPECT_LT(stamps, 180000);
}

}  // namespace
}  // namespace emailservice
