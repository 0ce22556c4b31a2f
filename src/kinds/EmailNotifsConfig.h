// The alarm notification: one UPS alarm that became active or was cleared, sent when the
// recipient is subscribed to the alarm's level.
#pragma once

#include <memory>
#include <string>

#include "dispatch/EmailEventConfig.h"
#include "email/EmailGlobalConfig.h"

namespace dravo::proto {
class EventConfigurationTable;
}

namespace emailservice {

class EmailNotifsConfig : public EmailGlobalConfig {
 public:
  // `eventConfigurationTable` must outlive the object; the entry of the event's level is chosen here.
  EmailNotifsConfig(cdsapi::CdsAccessor& cdsAccessor, EmailEvent const& event, EventLogFile& eventLogFile,
                    std::string const& messageFileName,
                    dravo::proto::EventConfigurationTable const& eventConfigurationTable);
  ~EmailNotifsConfig() override;

  void attachLogFiles() override;
  void formatMessage() override;
  void formatSubject() override;
  // Success without composing anything when the recipient is not subscribed to the event's level.
  ErrorCode manageEmail(std::string const& recipients) override;

 protected:
  dravo::proto::EventConfigurationTable const& eventConfigurationTable;
  // Empty when the event's level is not 1, 2 or 3.
  std::unique_ptr<EmailEventConfig> eventConfig;
};

}  // namespace emailservice
