// Data store client: a readable view of one alarm record.
#pragma once

#include <string>

#include "dravo/CAlarmUpdate.h"

namespace cdsapi {

class AlarmInfos {
 public:
  explicit AlarmInfos(dravo::CAlarmUpdate update);

  // The record's level as text ("Critical", "Warning", ...), or null when the store has no text
  // for its level. The pointer lives as long as this view.
  char const* getLevelString() const;
  // The record's description.
  std::string getDescriptionString() const;

 private:
  dravo::CAlarmUpdate record;
};

}  // namespace cdsapi
