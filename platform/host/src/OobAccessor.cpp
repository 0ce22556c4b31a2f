#include "cdsapi/OobAccessor.h"

#include "simcard/SimulatedCard.h"

namespace cdsapi {

dravo::proto::toolkitStruct OobAccessor::get(std::string const& key) const {
  auto& card = simcard::SimulatedCard::instance();
  card.checkFault("get");
  for (auto const& record : card.state().records()) {
    if (record.key() == key) {
      return record.value();
    }
  }
  return {};
}

}  // namespace cdsapi
