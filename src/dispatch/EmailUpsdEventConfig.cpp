#include "dispatch/EmailUpsdEventConfig.h"

#include "dravo_config.pb.h"

namespace emailservice {

bool EmailUpsdEventConfig::isDefaultLogSelected() const { return eventConfiguration.alarmlogselected().value(); }

bool EmailUpsdEventConfig::isMeasureLogSelected() const { return eventConfiguration.measurelogselected().value(); }

}  // namespace emailservice
