#include "cdsapi/AlarmInfos.h"

namespace cdsapi {

AlarmInfos::AlarmInfos(dravo::CAlarmUpdate update) : record(std::move(update)) {}

char const* AlarmInfos::getLevelString() const {
  auto const& text = record.getLevelText();
  return text.has_value() ? text->c_str() : nullptr;
}

std::string AlarmInfos::getDescriptionString() const { return record.getDescription(); }

}  // namespace cdsapi
