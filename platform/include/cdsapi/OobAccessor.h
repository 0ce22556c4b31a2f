// Data store client: configuration records ("out of band" of the measured data).
#pragma once

#include <string>

#include "dravo_config.pb.h"

namespace cdsapi {

class OobAccessor {
 public:
  // The record stored under `key`, as a copy. A key that holds no record reads as an empty
  // record (every attribute unset). A failure of the store raises an exception derived from
  // std::exception.
  dravo::proto::toolkitStruct get(std::string const& key) const;
};

}  // namespace cdsapi
