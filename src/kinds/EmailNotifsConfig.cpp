#include "kinds/EmailNotifsConfig.h"

#include "dravo_config.pb.h"
#include "logfiles/EventLogFile.h"

namespace emailservice {

namespace {

// The table entry that governs events of `level`, or null for a level that has none.
dravo::proto::EventConfiguration const* entryForLevel(dravo::proto::EventConfigurationTable const& table,
                                                      std::int32_t level) {
  switch (level) {
    case EventLevel::Critical:
      return &table.critical();
    case EventLevel::Warning:
      return &table.warning();
    case EventLevel::Informational:
      return &table.informational();
    default:
      return nullptr;
  }
}

}  // namespace

EmailNotifsConfig::EmailNotifsConfig(cdsapi::CdsAccessor& accessor, EmailEvent const& mailedEvent,
                                     EventLogFile& defaultLog, std::string const& bodyFileName,
                                     dravo::proto::EventConfigurationTable const& table)
    : EmailGlobalConfig(accessor, mailedEvent, defaultLog, bodyFileName), eventConfigurationTable(table) {
  if (auto const* entry = entryForLevel(table, mailedEvent.level)) {
    eventConfig = std::make_unique<EmailEventConfig>(mailedEvent, *entry);
  }
}

EmailNotifsConfig::~EmailNotifsConfig() = default;

ErrorCode EmailNotifsConfig::manageEmail(std::string const& recipients) {
  // No recipient can subscribe to a level outside the table, so such an event is not mailed.
  if (!eventConfig || !eventConfig->isSubscribed()) {
    return ErrorCode::Success;
  }
  return EmailGlobalConfig::manageEmail(recipients);
}

void EmailNotifsConfig::formatSubject() {
  EmailGlobalConfig::formatSubject();
  subject += " - Alarm - ";
  subject += event.getEventState();
  subject += " - ";
  subject += event.getEventLevel();
  subject += " - ";
  subject += event.description;
}

void EmailNotifsConfig::formatMessage() {
  EmailGlobalConfig::formatMessage();
  message << "== ALARM LIST ===============================================\n"
          << "Date (UTC) - Severity - State - Code - Description\n"
          << event.date << " - " << event.getEventLevel() << " - " << event.getEventState() << " - "
          << event.formatEventCode() << " - " << event.description << "\n"
          << "============================================================\n";
}

void EmailNotifsConfig::attachLogFiles() {
  if (!eventConfig) {
    return;
  }
  if (eventConfig->isDefaultLogSelected() && eventLogFile.generateFiles(kRecentLogEntries) == 0) {
    attachments = " " + eventLogFile.getLogFileName();
  }
  if (eventConfig->isMeasureLogSelected()) {
    // The measure exports ignore the count; each is attached on its own success.
    if (upsMeasuresLogFile.generateFiles(kRecentLogEntries) == 0) {
      attachments += " " + upsMeasuresLogFile.getLogFileName();
    }
    if (sensorMeasureLogFile.generateFiles(kRecentLogEntries) == 0) {
      attachments += " " + sensorMeasureLogFile.getLogFileName();
    }
  }
}

}  // namespace emailservice
