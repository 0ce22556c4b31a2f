#include "simcard/SimulatedCard.h"

#include <stdexcept>

namespace simcard {

SimulatedCard& SimulatedCard::instance() {
  static SimulatedCard card;
  return card;
}

void SimulatedCard::reset() {
  cardState.Clear();
  log.clear();
  commandHook = nullptr;
  faultOperation.clear();
  faultCallsLeft = 0;
}

void SimulatedCard::setRecord(std::string const& key, dravo::proto::toolkitStruct const& value) {
  for (auto& record : *cardState.mutable_records()) {
    if (record.key() == key) {
      *record.mutable_value() = value;
      return;
    }
  }
  auto* record = cardState.add_records();
  record->set_key(key);
  *record->mutable_value() = value;
}

proto::Device& SimulatedCard::device(unsigned long long id) {
  for (auto& existing : *cardState.mutable_devices()) {
    if (existing.id() == id) {
      return existing;
    }
  }
  auto* added = cardState.add_devices();
  added->set_id(id);
  return *added;
}

void SimulatedCard::setFault(std::string operation, unsigned int callNumber) {
  faultOperation = std::move(operation);
  // A call number of 0 is read as 1: the fault cannot fire before the next call.
  faultCallsLeft = callNumber == 0 ? 1 : callNumber;
}

void SimulatedCard::checkFault(std::string const& operation) {
  if (faultOperation.empty() || operation != faultOperation) {
    return;
  }
  // Counts down to the faulty call and stays faulty from then on.
  if (faultCallsLeft > 1) {
    --faultCallsLeft;
    return;
  }
  throw std::runtime_error("simulated data store failure in " + operation);
}

}  // namespace simcard
