// Subscription and log selection of one event under one level entry of a configuration.
#pragma once

#include "emailservice/EmailEvent.h"

namespace dravo::proto {
class EventConfiguration;
}

namespace emailservice {

class EmailEventConfig {
 public:
  // Both references must outlive the object.
  EmailEventConfig(EmailEvent const& event, dravo::proto::EventConfiguration const& eventConfiguration);
  virtual ~EmailEventConfig();
  EmailEventConfig(EmailEventConfig const&) = delete;
  EmailEventConfig& operator=(EmailEventConfig const&) = delete;

  // The entry's `subscribed`.
  bool isSubscribed() const;
  // The default log of the event's type: the system logs for a card event, the alarm export for
  // a UPS event; false for every other type.
  virtual bool isDefaultLogSelected() const;
  // The measure exports, for a UPS event only.
  virtual bool isMeasureLogSelected() const;

 protected:
  EmailEvent const& event;
  dravo::proto::EventConfiguration const& eventConfiguration;
};

}  // namespace emailservice
