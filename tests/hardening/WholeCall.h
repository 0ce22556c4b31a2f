// Building blocks of the tests that run the whole call, EmailService::manageEmails, on a
// simulated card.
#pragma once

#include <string>
#include <vector>

#include "cdsapi/CdsAccessor.h"
#include "dravo_config.pb.h"
#include "emailservice/EmailEvent.h"
#include "emailservice/EmailService.h"
#include "simcard/SimulatedCard.h"

namespace emailservice::testing {

// An enabled configuration that wants every critical UPS alarm, with no attachment.
inline dravo::proto::EmailConfiguration alarmConfiguration(std::string const& id, std::string const& recipients) {
  dravo::proto::EmailConfiguration configuration;
  configuration.mutable_id()->set_value(id);
  configuration.mutable_enabled()->set_value(true);
  configuration.mutable_name()->set_value("configuration " + id);
  configuration.mutable_recipients()->set_value(recipients);
  configuration.mutable_eventnotification()->set_value(true);
  configuration.mutable_upseventtable()->mutable_critical()->mutable_subscribed()->set_value(true);
  return configuration;
}

// Stores `configurations` as the card's list, behind the template entry that is never processed.
inline void storeConfigurations(std::vector<dravo::proto::EmailConfiguration> const& configurations) {
  dravo::proto::toolkitStruct record;
  auto* list = record.mutable_emailconfigurationlist();
  list->add_configurations()->mutable_id()->set_value("template");
  for (auto const& configuration : configurations) {
    *list->add_configurations() = configuration;
  }
  simcard::SimulatedCard::instance().setRecord("EMAIL_CONFIGURATION", record);
}

inline EmailEvent criticalUpsAlarm(std::string const& description) {
  return EmailEvent{EventType::Ups, "2026-11-23 10:00:00", EventLevel::Critical, "1A", 1, description};
}

// The whole call, as the card's service makes it.
inline ErrorCode manageEmails(EmailEvent const& event) {
  cdsapi::CdsAccessor accessor;
  EmailService service(accessor);
  return service.manageEmails(event);
}

// The subject of a critical alarm that has become active.
inline std::string activeCriticalAlarmSubject(std::string const& systemName, std::string const& description) {
  return systemName + " - Alarm - Active - Critical - " + description;
}

}  // namespace emailservice::testing
