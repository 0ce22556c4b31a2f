#include "cdsapi/dataLog.h"

#include "simcard/SimulatedCard.h"

namespace cdsapi {

void dataLog::logMessage(enLogCategory category, int eventId, int deviceId, syslog_severity const& severity,
                         std::string const& source, int channelId, std::string const& message) {
  auto& card = simcard::SimulatedCard::instance();
  card.checkFault("logMessage");
  card.appendLog({category, eventId, deviceId, severity, source, channelId, message});
}

}  // namespace cdsapi
