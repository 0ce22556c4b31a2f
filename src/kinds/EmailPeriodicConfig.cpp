#include "kinds/EmailPeriodicConfig.h"

#include <vector>

#include "cdsapi/AlarmInfos.h"
#include "cdsapi/CdsAccessor.h"
#include "cdsapi/DataAlarms.h"
#include "cdsapi/InBandAccessor.h"
#include "dravo/CAlarmUpdate.h"
#include "dravo/CWallTime.h"
#include "dravo_config.pb.h"
#include "logfiles/EventLogFile.h"

namespace emailservice {

namespace {

// The alarm history of the monitored devices.
constexpr unsigned long long kDeviceAlarmHistory = 1;
constexpr char const kTimeFormat[] = "%F %T";

// The store's level codes: 3 and 7 are critical, 2 and 6 warning, every other code informational.
bool isCriticalLevel(int level) { return level == 3 || level == 7; }
bool isWarningLevel(int level) { return level == 2 || level == 6; }

}  // namespace

EmailPeriodicConfig::EmailPeriodicConfig(cdsapi::CdsAccessor& accessor, EmailEvent const& mailedEvent,
                                         EventLogFile& alarmExport, EventLogFile& systemLogs,
                                         std::string const& bodyFileName,
                                         dravo::proto::PeriodicConfiguration const& settings)
    : EmailGlobalConfig(accessor, mailedEvent, alarmExport, bodyFileName),
      systemEventLogs(systemLogs),
      periodicConfiguration(settings),
      cardEventConfig(std::make_unique<EmailCardEventConfig>(mailedEvent, settings.cardeventconfiguration())),
      upsdEventConfig(std::make_unique<EmailUpsdEventConfig>(mailedEvent, settings.upseventconfiguration())) {}

// The card's selection goes first, then the UPS selection, as they were built.
EmailPeriodicConfig::~EmailPeriodicConfig() {
  cardEventConfig.reset();
  upsdEventConfig.reset();
}

long EmailPeriodicConfig::periodStart() const { return periodicConfiguration.periodstart().value(); }

void EmailPeriodicConfig::formatSubject() {
  EmailGlobalConfig::formatSubject();
  subject += " - Periodic report";
}

// The period ends now: a report covers everything from the configured start to its composition.
void EmailPeriodicConfig::formatMessage() {
  EmailGlobalConfig::formatMessage();
  message << "= PERIODIC REPORT ==========================================\n"
          << "The following is a periodic report of the period from " << formatTime(periodStart()) << " to "
          << formatNow() << " (UTC).\n";
  setActiveAlarms();
  setResolvedAlarms();
  message << "============================================================\n";
}

void EmailPeriodicConfig::attachLogFiles() {
  // The system logs' list begins with its own blank and replaces whatever came before. The
  // system logs and the alarm export are listed whatever their generation reported.
  if (cardEventConfig->isSubscribed() && cardEventConfig->isDefaultLogSelected()) {
    systemEventLogs.generateFilesFromDate(periodStart());
    attachments = systemEventLogs.getLogFileName();
  }
  if (!upsdEventConfig->isSubscribed()) {
    return;
  }
  if (upsdEventConfig->isDefaultLogSelected()) {
    eventLogFile.generateFilesFromDate(periodStart());
    attachments += " " + eventLogFile.getLogFileName();
  }
  if (upsdEventConfig->isMeasureLogSelected()) {
    if (upsMeasuresLogFile.generateFilesFromDate(periodStart()) == 0) {
      attachments += " " + upsMeasuresLogFile.getLogFileName();
    }
    if (sensorMeasureLogFile.generateFilesFromDate(periodStart()) == 0) {
      attachments += " " + sensorMeasureLogFile.getLogFileName();
    }
  }
}

std::string EmailPeriodicConfig::getDeviceString(unsigned long long deviceId) const {
  auto& inband = cdsAccessor.inbandAccessor();
  std::string name = inband.getDeviceFriendlyName(deviceId);
  if (name.empty()) {
    return inband.getDevicePhysicalName(deviceId);
  }
  return name;
}

void EmailPeriodicConfig::setActiveAlarms() {
  std::vector<dravo::CAlarmUpdate> const alarms = cdsAccessor.alarmsAccessor().getActiveAlarmsFromDate(
      kDeviceAlarmHistory, dravo::CWallTime(periodStart(), kTimeFormat));
  message << "Active alarms count: " << alarms.size() << "\n";
  // Listed in the store's order, which need not be chronological.
  for (auto const& alarm : alarms) {
    cdsapi::AlarmInfos const infos(alarm);
    message << "\t- " << alarm.getTimestamp().get_time_str(true, kTimeFormat) << " (UTC) - ";
    if (char const* level = infos.getLevelString()) {
      message << level;
    }
    message << " - " << getDeviceString(alarm.getDeviceId()) << " " << infos.getDescriptionString() << "\n";
  }
}

void EmailPeriodicConfig::setResolvedAlarms() {
  std::vector<dravo::CAlarmUpdate> const alarms = cdsAccessor.alarmsAccessor().getClosedAlarmsFromDate(
      kDeviceAlarmHistory, dravo::CWallTime(periodStart(), kTimeFormat));
  unsigned int critical = 0;
  unsigned int warning = 0;
  unsigned int informational = 0;
  for (auto const& alarm : alarms) {
    int const level = alarm.getLevel();
    if (isCriticalLevel(level)) {
      ++critical;
    } else if (isWarningLevel(level)) {
      ++warning;
    } else {
      ++informational;
    }
  }
  message << "Resolved alarms count: " << alarms.size() << "\n"
          << "\t- Critical alarms count: " << critical << "\n"
          << "\t- Warning alarms count: " << warning << "\n"
          << "\t- Informational alarms count: " << informational << "\n";
}

}  // namespace emailservice
