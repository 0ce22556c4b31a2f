// The exception event e-mail: an event whose code the configuration lists as an exception,
// always sent once built, with the recent log of its origin attached.
#pragma once

#include "email/EmailGlobalConfig.h"

namespace emailservice {

class EmailException final : public EmailGlobalConfig {
 public:
  using EmailGlobalConfig::EmailGlobalConfig;

  void attachLogFiles() override;
  void formatMessage() override;
  void formatSubject() override;
};

}  // namespace emailservice
