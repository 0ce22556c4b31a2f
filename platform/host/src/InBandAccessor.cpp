#include "cdsapi/InBandAccessor.h"

#include "simcard/SimulatedCard.h"

namespace cdsapi {

namespace {

using simcard::proto::Device;

simcard::proto::CardState const& store() { return simcard::SimulatedCard::instance().state(); }

// Checks the fault of `operation`, then reads one attribute of `device`; an unknown device reads
// as the empty text.
std::string deviceAttribute(char const* operation, unsigned long long device,
                            std::string const& (Device::*attribute)() const) {
  simcard::SimulatedCard::instance().checkFault(operation);
  for (auto const& candidate : store().devices()) {
    if (candidate.id() == device) {
      return (candidate.*attribute)();
    }
  }
  return {};
}

}  // namespace

std::string InBandAccessor::getDeviceFriendlyName(unsigned long long device) const {
  return deviceAttribute("getDeviceFriendlyName", device, &Device::friendlyname);
}

std::string InBandAccessor::getDevicePhysicalName(unsigned long long device) const {
  return deviceAttribute("getDevicePhysicalName", device, &Device::physicalname);
}

std::string InBandAccessor::getDeviceModel(unsigned long long device) const {
  return deviceAttribute("getDeviceModel", device, &Device::model);
}

std::string InBandAccessor::getDeviceVendor(unsigned long long device) const {
  return deviceAttribute("getDeviceVendor", device, &Device::vendor);
}

std::string InBandAccessor::getDevicePartNumber(unsigned long long device) const {
  return deviceAttribute("getDevicePartNumber", device, &Device::partnumber);
}

std::string InBandAccessor::getDeviceSerialNumber(unsigned long long device) const {
  return deviceAttribute("getDeviceSerialNumber", device, &Device::serialnumber);
}

std::string InBandAccessor::getDeviceSwVersion(unsigned long long device) const {
  return deviceAttribute("getDeviceSwVersion", device, &Device::swversion);
}

std::string InBandAccessor::getDeviceHwVersion(unsigned long long device) const {
  return deviceAttribute("getDeviceHwVersion", device, &Device::hwversion);
}

unsigned long long InBandAccessor::getChannelId(unsigned long long device, std::string const& name) const {
  simcard::SimulatedCard::instance().checkFault("getChannelId");
  for (auto const& channel : store().channels()) {
    if (channel.device() == device && channel.name() == name) {
      return channel.id();
    }
  }
  return kNoChannel;
}

dravo::CValue InBandAccessor::getChannelCValue(unsigned long long channel) const {
  simcard::SimulatedCard::instance().checkFault("getChannelCValue");
  for (auto const& candidate : store().channels()) {
    if (candidate.id() == channel) {
      return dravo::CValue(candidate.value());
    }
  }
  return {};
}

}  // namespace cdsapi
