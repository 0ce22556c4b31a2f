// Log selection for the card's own events, whatever the event's type (periodic report).
#pragma once

#include "dispatch/EmailEventConfig.h"

namespace emailservice {

class EmailCardEventConfig final : public EmailEventConfig {
 public:
  using EmailEventConfig::EmailEventConfig;

  // The entry's `systemLogSelected`.
  bool isDefaultLogSelected() const override;
};

}  // namespace emailservice
