// The periodic report: the period from the configured start to now, its active alarms, the
// resolved ones counted by level, and the selected logs cut to the period.
#pragma once

#include <memory>
#include <string>

#include "dispatch/EmailCardEventConfig.h"
#include "dispatch/EmailUpsdEventConfig.h"
#include "email/EmailGlobalConfig.h"

namespace dravo::proto {
class PeriodicConfiguration;
}

namespace emailservice {

class EmailPeriodicConfig final : public EmailGlobalConfig {
 public:
  // `alarmExport`, `systemEventLogs`, `messageFileName` and `periodicConfiguration` must outlive the object.
  EmailPeriodicConfig(cdsapi::CdsAccessor& cdsAccessor, EmailEvent const& event, EventLogFile& alarmExport,
                      EventLogFile& systemEventLogs, std::string const& messageFileName,
                      dravo::proto::PeriodicConfiguration const& periodicConfiguration);
  ~EmailPeriodicConfig() override;

  void attachLogFiles() override;
  void formatMessage() override;
  void formatSubject() override;

  // The device's friendly name, or its physical name when it has none.
  std::string getDeviceString(unsigned long long deviceId) const;
  // The active alarms of the period, one line each, after their count.
  void setActiveAlarms();
  // The number of alarms resolved in the period, and how many were critical, warning, informational.
  void setResolvedAlarms();

 private:
  long periodStart() const;

  EventLogFile& systemEventLogs;
  dravo::proto::PeriodicConfiguration const& periodicConfiguration;
  std::unique_ptr<EmailCardEventConfig> cardEventConfig;
  std::unique_ptr<EmailUpsdEventConfig> upsdEventConfig;
};

}  // namespace emailservice
