#include "cdsapi/CdsAccessor.h"

#include "cdsapi/DataAlarms.h"
#include "cdsapi/InBandAccessor.h"
#include "cdsapi/OobAccessor.h"

namespace cdsapi {

// The accessors hold no state of their own: all of them answer from the one simulated card.
CdsAccessor::CdsAccessor(std::string const& clientName, bool /*readOnly*/)
    : name(clientName),
      inband(std::make_unique<InBandAccessor>()),
      oob(std::make_unique<OobAccessor>()),
      alarms(std::make_unique<DataAlarms>()) {}

CdsAccessor::~CdsAccessor() = default;

InBandAccessor& CdsAccessor::inbandAccessor() { return *inband; }

OobAccessor& CdsAccessor::oobAccessor() { return *oob; }

DataAlarms& CdsAccessor::alarmsAccessor() { return *alarms; }

}  // namespace cdsapi
