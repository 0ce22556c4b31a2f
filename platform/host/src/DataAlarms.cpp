#include "cdsapi/DataAlarms.h"

#include "simcard/SimulatedCard.h"

namespace cdsapi {

namespace {

using simcard::proto::Alarm;

// The only history the simulated card keeps: the one of the monitored devices.
constexpr unsigned long long kDeviceHistory = 1;

dravo::CAlarmUpdate toUpdate(Alarm const& alarm) {
  std::optional<std::string> levelText;
  if (alarm.has_leveltext()) {
    levelText = alarm.leveltext();
  }
  std::optional<dravo::CTimestamp> clearedAt;
  if (alarm.has_clearedat()) {
    clearedAt = dravo::CTimestamp(alarm.clearedat());
  }
  return dravo::CAlarmUpdate(dravo::CTimestamp(alarm.raisedat()), alarm.device(), alarm.level(), levelText,
                             alarm.description(), clearedAt);
}

// The alarms of history `historyId` for which `keep` holds, in the store's order.
template <typename Predicate>
std::vector<dravo::CAlarmUpdate> select(char const* operation, unsigned long long historyId, Predicate keep) {
  auto& card = simcard::SimulatedCard::instance();
  card.checkFault(operation);
  std::vector<dravo::CAlarmUpdate> updates;
  if (historyId != kDeviceHistory) {
    return updates;
  }
  for (auto const& alarm : card.state().alarms()) {
    if (keep(alarm)) {
      updates.push_back(toUpdate(alarm));
    }
  }
  return updates;
}

}  // namespace

// The start time comes by value, as the data store client's interface has it.
std::vector<dravo::CAlarmUpdate> DataAlarms::getActiveAlarmsFromDate(
    unsigned long long historyId,
    dravo::CWallTime from) const {  // NOLINT(performance-unnecessary-value-param)
  auto const start = from.seconds();
  return select("getActiveAlarmsFromDate", historyId,
                [start](Alarm const& alarm) { return !alarm.has_clearedat() && alarm.raisedat() >= start; });
}

std::vector<dravo::CAlarmUpdate> DataAlarms::getClosedAlarmsFromDate(
    unsigned long long historyId,
    dravo::CWallTime from) const {  // NOLINT(performance-unnecessary-value-param)
  auto const start = from.seconds();
  return select("getClosedAlarmsFromDate", historyId,
                [start](Alarm const& alarm) { return alarm.has_clearedat() && alarm.clearedat() >= start; });
}

std::vector<dravo::CAlarmUpdate> DataAlarms::getAlarmHistory(unsigned long long historyId) const {
  return select("getAlarmHistory", historyId, [](Alarm const&) { return true; });
}

}  // namespace cdsapi
