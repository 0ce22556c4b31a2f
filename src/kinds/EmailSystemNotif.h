// The system event e-mail: an event of the card itself, under the card table's subscription.
#pragma once

#include "kinds/EmailNotifsConfig.h"

namespace emailservice {

class EmailSystemNotif final : public EmailNotifsConfig {
 public:
  using EmailNotifsConfig::EmailNotifsConfig;

  void formatMessage() override;
  void formatSubject() override;
};

}  // namespace emailservice
