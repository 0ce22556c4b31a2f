// What the outbox's tests look at: its card log entries, what it keeps, and one configuration.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BuildSettings.h"
#include "emailservice/Outbox.h"
#include "outbox/OutboxLog.h"
#include "simcard/SimulatedCard.h"
#include "support/RecordingMail.h"

namespace emailservice::testing {

// The outbox's card log entries since the card was reset, as "ID: message".
inline std::vector<std::string> outboxEntries() {
  std::vector<std::string> lines;
  for (auto const& entry : simcard::SimulatedCard::instance().cardLog()) {
    if (OutboxLog::isOutboxEntry(entry.eventId)) {
      EXPECT_EQ(entry.severity, OutboxLog::isInformational(entry.eventId) ? 6 : 4);
      lines.push_back(std::to_string(entry.eventId) + ": " + entry.message);
    }
  }
  return lines;
}

// The descriptions of the kept alarms, oldest first.
inline std::vector<std::string> keptAlarms() {
  std::vector<std::string> alarms;
  for (auto const& kept : Outbox::list()) {
    alarms.push_back(kept.subject.substr(kept.subject.rfind(" - ") + 3));
  }
  return alarms;
}

// A configuration with a name, whose critical alarms attach the alarm export.
inline std::string const kOffice =
    "name { value: \"Office\" } upsEventTable { critical { alarmLogSelected { value: true } } }";

inline std::string const kOutboxDirectory = settings::kOutboxDirectory;

// Configuration 7, "Office", whose critical alarms attach the alarm export; the relay refuses
// until a test says otherwise, and every e-mail that goes out is recorded.
class OutboxTest : public RecordingMailTest {
 protected:
  void SetUp() override {
    RecordingMailTest::SetUp();
    storeConfigurations({"7"}, "ops@example.com", kOffice);
    setenv("HARDENING_SENT", "1", 1);
    setenv("HARDENING_FAULT", "refuse", 1);
  }
};

}  // namespace emailservice::testing
