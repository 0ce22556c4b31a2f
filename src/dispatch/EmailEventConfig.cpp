#include "dispatch/EmailEventConfig.h"

#include "dravo_config.pb.h"

namespace emailservice {

EmailEventConfig::EmailEventConfig(EmailEvent const& mailedEvent, dravo::proto::EventConfiguration const& entry)
    : event(mailedEvent), eventConfiguration(entry) {}

EmailEventConfig::~EmailEventConfig() = default;

bool EmailEventConfig::isSubscribed() const { return eventConfiguration.subscribed().value(); }

bool EmailEventConfig::isDefaultLogSelected() const {
  // A card event's own log is the system logs, a UPS alarm's the alarm export.
  switch (event.type) {
    case EventType::Card:
      return eventConfiguration.systemlogselected().value();
    case EventType::Ups:
      return eventConfiguration.alarmlogselected().value();
    default:
      return false;
  }
}

bool EmailEventConfig::isMeasureLogSelected() const {
  // Only UPS alarms carry the measure exports.
  return event.type == EventType::Ups && eventConfiguration.measurelogselected().value();
}

}  // namespace emailservice
