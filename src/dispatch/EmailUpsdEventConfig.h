// Log selection for the UPS events, whatever the event's type (periodic report).
#pragma once

#include "dispatch/EmailEventConfig.h"

namespace emailservice {

class EmailUpsdEventConfig final : public EmailEventConfig {
 public:
  using EmailEventConfig::EmailEventConfig;

  // The entry's `alarmLogSelected`.
  bool isDefaultLogSelected() const override;
  // The entry's `measureLogSelected`.
  bool isMeasureLogSelected() const override;
};

}  // namespace emailservice
