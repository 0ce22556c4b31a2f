#include "dispatch/EmailCardEventConfig.h"

#include "dravo_config.pb.h"

namespace emailservice {

bool EmailCardEventConfig::isDefaultLogSelected() const { return eventConfiguration.systemlogselected().value(); }

}  // namespace emailservice
