// What each event type means to the dispatch, written once: which types address one
// configuration, and the name of each type's body work file. A new event type is one edit here
// (and its kind in EmailConfig::manageEmail). Header-only, so that the simulator says the same.
#pragma once

#include <cstdint>
#include <string>

#include "emailservice/EmailEvent.h"

namespace emailservice {

class EventTypeRules final {
 public:
  // Periodic and Test events are for the one configuration whose id is their code; the other
  // types go to every configuration.
  static bool addressesOneConfiguration(std::int32_t type) {
    return type == EventType::Periodic || type == EventType::Test;
  }

  // Whether `event` is for the configuration `id` alone (the same bytes; two empty texts match).
  static bool addresses(EmailEvent const& event, std::string const& id) {
    return addressesOneConfiguration(event.type) && id == event.code;
  }

  // Whether an event addressed to a disabled configuration fails there: a test does, while a
  // periodic report of a disabled configuration is simply not due.
  static bool failsAtDisabled(std::int32_t type) { return type == EventType::Test; }

  // What follows the configuration's id in the name of the body work file; nothing for a type
  // without a kind of its own (only its exception e-mail uses the file).
  static char const* workFileSuffix(std::int32_t type) {
    switch (type) {
      case EventType::Periodic:
        return "report.txt";
      case EventType::Card:
        return "card.txt";
      case EventType::Ups:
        return "ups.txt";
      case EventType::Test:
        return "test.txt";
      default:
        return "";
    }
  }
};

}  // namespace emailservice
