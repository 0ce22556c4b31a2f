// Data store client: device attributes and named channels.
#pragma once

#include <string>

#include "dravo/CValue.h"

namespace cdsapi {

// Device numbers: 1 is the communication module (the card), 20 the monitored device.
// Every call asks the store afresh. An unknown device or an attribute that the device does not
// have reads as the empty text. A failure of the store raises an exception derived from
// std::exception, which the e-mail service lets through to its caller.
class InBandAccessor {
 public:
  // The channel identifier that means "no such channel": all 64 bits set.
  static constexpr unsigned long long kNoChannel = ~0ULL;

  std::string getDeviceFriendlyName(unsigned long long device) const;
  std::string getDevicePhysicalName(unsigned long long device) const;
  std::string getDeviceModel(unsigned long long device) const;
  std::string getDeviceVendor(unsigned long long device) const;
  std::string getDevicePartNumber(unsigned long long device) const;
  std::string getDeviceSerialNumber(unsigned long long device) const;
  std::string getDeviceSwVersion(unsigned long long device) const;
  std::string getDeviceHwVersion(unsigned long long device) const;

  // Identifier of the channel `name` of `device`, or kNoChannel when the device has none.
  unsigned long long getChannelId(unsigned long long device, std::string const& name) const;
  // Current value of a channel; an unknown identifier reads as an empty value.
  dravo::CValue getChannelCValue(unsigned long long channel) const;
};

}  // namespace cdsapi
