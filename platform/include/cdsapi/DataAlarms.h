// Data store client: the alarm history of the card and of the devices it supervises.
#pragma once

#include <vector>

#include "dravo/CAlarmUpdate.h"
#include "dravo/CWallTime.h"

namespace cdsapi {

// `historyId` selects the alarm history; 1 is the history of the monitored devices, the only
// one the e-mail service reads. Records come back in the order the store keeps them, which is
// not necessarily chronological. A failure of the store raises an exception derived from
// std::exception.
class DataAlarms {
 public:
  // Alarms that became active at or after `from` and are still active.
  std::vector<dravo::CAlarmUpdate> getActiveAlarmsFromDate(unsigned long long historyId, dravo::CWallTime from) const;
  // Alarms that were cleared at or after `from`.
  std::vector<dravo::CAlarmUpdate> getClosedAlarmsFromDate(unsigned long long historyId, dravo::CWallTime from) const;
  // The whole history, active and cleared alarms, in the store's order (used by the alarm export).
  std::vector<dravo::CAlarmUpdate> getAlarmHistory(unsigned long long historyId) const;
};

}  // namespace cdsapi
