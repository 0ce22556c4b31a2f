// The test e-mail: fixed texts and the recent system logs, to check a configuration end to end.
#pragma once

#include "email/EmailGlobalConfig.h"

namespace emailservice {

class EmailTestConfig final : public EmailGlobalConfig {
 public:
  using EmailGlobalConfig::EmailGlobalConfig;

  void attachLogFiles() override;
  void formatMessage() override;
  void formatSubject() override;
};

}  // namespace emailservice
