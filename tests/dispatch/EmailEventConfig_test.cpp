// The subscription and log selection answers of the three kinds of EmailEventConfig, for every
// event type: the e-mail kinds reach only some of these combinations, the answers are defined for all.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "dispatch/EmailCardEventConfig.h"
#include "dispatch/EmailEventConfig.h"
#include "dispatch/EmailUpsdEventConfig.h"
#include "dravo_config.pb.h"

namespace emailservice {
namespace {

// The entry's flags as letters: S subscribed, Y system log, A alarm log, M measure logs.
dravo::proto::EventConfiguration entry(std::string const& flags) {
  dravo::proto::EventConfiguration configuration;
  configuration.mutable_subscribed()->set_value(flags.find('S') != std::string::npos);
  configuration.mutable_systemlogselected()->set_value(flags.find('Y') != std::string::npos);
  configuration.mutable_alarmlogselected()->set_value(flags.find('A') != std::string::npos);
  configuration.mutable_measurelogselected()->set_value(flags.find('M') != std::string::npos);
  return configuration;
}

TEST(EmailEventConfigTest, AnswersFromTheEntryAndTheEventType) {
  struct Case {
    char answer;  // B base, C card, U UPS
    std::int32_t type;
    char const* flags;
    char const* answers;  // subscribed, default log, measure logs, as 0 and 1
  };
  Case const cases[] = {
      {'B', EventType::Card, "SAM", "100"},
      {'B', EventType::Card, "Y", "010"},
      {'B', EventType::Ups, "SY", "100"},
      {'B', EventType::Ups, "SAM", "111"},
      {'B', EventType::Test, "SYAM", "100"},
      {'B', EventType::Periodic, "YAM", "000"},
      {'B', 9, "SYAM", "100"},
      {'C', EventType::Periodic, "SY", "110"},
      {'C', EventType::Periodic, "SAM", "100"},
      {'C', EventType::Ups, "M", "001"},
      {'U', EventType::Periodic, "SAM", "111"},
      {'U', EventType::Periodic, "Y", "000"},
      {'U', EventType::Card, "SM", "101"},
  };
  for (auto const& c : cases) {
    EmailEvent const event{c.type, "2024-05-01 13:07:42", 1, "1A2B", 1, "Battery low"};
    auto const configuration = entry(c.flags);
    std::unique_ptr<EmailEventConfig> answers = std::make_unique<EmailEventConfig>(event, configuration);
    if (c.answer != 'B') {
      answers = c.answer == 'C' ? std::unique_ptr<EmailEventConfig>(new EmailCardEventConfig(event, configuration))
                                : std::unique_ptr<EmailEventConfig>(new EmailUpsdEventConfig(event, configuration));
    }
    std::string const got = std::string(answers->isSubscribed() ? "1" : "0") +
                            (answers->isDefaultLogSelected() ? "1" : "0") +
                            (answers->isMeasureLogSelected() ? "1" : "0");
    EXPECT_EQ(got, c.answers) << c.answer << " type " << c.type << " " << c.flags;
  }
}

}  // namespace
}  // namespace emailservice
