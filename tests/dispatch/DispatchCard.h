// Helpers of the dispatch tests: a card that names itself "UPS-A", configurations that send
// everything they can, and the pieces of a recorded mail command.
#pragma once

#include <string>

#include "dravo_config.pb.h"
#include "emailservice/EmailEvent.h"
#include "simcard/SimulatedCard.h"

namespace emailservice::testing {

// Device 1 is called "UPS-A", so every subject starts with it; the card's IPv4 address is 192.0.2.7.
inline void setUpNamedCard(simcard::SimulatedCard& card) {
  card.device(1).set_friendlyname("UPS-A");
  card.state().mutable_network()->set_ipv4address("192.0.2.7");
}

inline void selectEverything(dravo::proto::EventConfiguration& entry) {
  entry.mutable_subscribed()->set_value(true);
  entry.mutable_systemlogselected()->set_value(true);
  entry.mutable_alarmlogselected()->set_value(true);
  entry.mutable_measurelogselected()->set_value(false);  // the measure exports are not under test here
}

// An enabled configuration `id` with notifications on, every level of both tables and both
// periodic blocks subscribed with the system logs and the alarm export selected.
inline dravo::proto::EmailConfiguration sendingConfiguration(std::string const& id,
                                                             std::string const& recipients = "ops@example.com") {
  dravo::proto::EmailConfiguration configuration;
  configuration.mutable_id()->set_value(id);
  configuration.mutable_enabled()->set_value(true);
  configuration.mutable_name()->set_value("Config " + id);
  configuration.mutable_recipients()->set_value(recipients);
  configuration.mutable_eventnotification()->set_value(true);
  for (auto* table : {configuration.mutable_cardeventtable(), configuration.mutable_upseventtable()}) {
    selectEverything(*table->mutable_critical());
    selectEverything(*table->mutable_warning());
    selectEverything(*table->mutable_informational());
  }
  selectEverything(*configuration.mutable_periodicconfiguration()->mutable_cardeventconfiguration());
  selectEverything(*configuration.mutable_periodicconfiguration()->mutable_upseventconfiguration());
  return configuration;
}

// Stores `list` as the card's "EMAIL_CONFIGURATION" record.
inline void storeConfigurations(simcard::SimulatedCard& card, dravo::proto::EmailConfigurationList const& list) {
  dravo::proto::toolkitStruct record;
  *record.mutable_emailconfigurationlist() = list;
  card.setRecord("EMAIL_CONFIGURATION", record);
}

inline EmailEvent makeEvent(std::int32_t type, std::string const& code, std::int32_t level = EventLevel::Critical) {
  return EmailEvent{type, "2024-05-01 13:07:42", level, code, 1, "On battery"};
}

// Pieces of a mail command: sudo -u email sendemail -s "SUBJECT"[ -aLIST] -- RECIPIENTS < FILE
// (the subjects of these tests hold no double quote).
inline std::string subjectOf(std::string const& command) {
  std::string const opening = "sudo -u email sendemail -s \"";
  if (command.compare(0, opening.size(), opening) != 0) {
    return "(not a mail command)";
  }
  return command.substr(opening.size(), command.find('"', opening.size()) - opening.size());
}

inline std::string attachmentsOf(std::string const& command) {
  std::size_t const quote = command.find('"', command.find('"') + 1);
  std::size_t const options = command.find(" -- ", quote);
  std::string const between = command.substr(quote + 1, options - quote - 1);
  return between.compare(0, 3, " -a") == 0 ? between.substr(3) : between;
}

inline std::string recipientsOf(std::string const& command) {
  std::size_t const start = command.find(" -- ") + 4;
  return command.substr(start, command.rfind(" < ") - start);
}

inline std::string bodyFileOf(std::string const& command) { return command.substr(command.rfind(" < ") + 3); }

}  // namespace emailservice::testing
