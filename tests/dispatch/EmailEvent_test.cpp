#include "emailservice/EmailEvent.h"

#include <gtest/gtest.h>

namespace emailservice::testing {
namespace {

EmailEvent eventWith(std::int32_t level, std::int32_t state, std::string code) {
  return EmailEvent{EventType::Ups, "2024-01-02 03:04:05", level, std::move(code), state, "description"};
}

TEST(EmailEventTest, LevelTextOnlyDistinguishesCriticalAndWarning) {
  struct Case {
    std::int32_t level;
    char const* text;
  };
  Case const cases[] = {{1, "Critical"},      {2, "Warning"},        {3, "Informational"},        {0, "Informational"},
                        {4, "Informational"}, {-1, "Informational"}, {INT32_MAX, "Informational"}};
  for (auto const& c : cases) {
    EXPECT_EQ(eventWith(c.level, 1, "").getEventLevel(), c.text) << "level " << c.level;
  }
}

TEST(EmailEventTest, OnlyStateZeroReadsCleared) {
  struct Case {
    std::int32_t state;
    char const* text;
  };
  Case const cases[] = {{0, "Cleared"}, {1, "Active"}, {2, "Active"}, {-1, "Active"}, {INT32_MIN, "Active"}};
  for (auto const& c : cases) {
    EXPECT_EQ(eventWith(1, c.state, "").getEventState(), c.text) << "state " << c.state;
  }
}

TEST(EmailEventTest, CodeIsLeftFilledWithZerosToEightCharactersAndNeverCut) {
  struct Case {
    char const* code;
    char const* formatted;
  };
  Case const cases[] = {
      {"1A2B", "00001A2B"},       {"", "00000000"},   {"7", "00000007"},       {"0012AB34", "0012AB34"},
      {"123456789", "123456789"}, {"zz", "000000zz"}, {"1234567", "01234567"}, {" 1", "000000 1"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(eventWith(1, 1, c.code).formatEventCode(), c.formatted) << '"' << c.code << '"';
  }
}

}  // namespace
}  // namespace emailservice::testing
