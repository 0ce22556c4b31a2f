// The data store's numbers of the two devices the e-mails describe.
#pragma once

namespace emailservice {

// The communication module: the card itself.
inline constexpr unsigned long long kCommunicationModule = 1;
// The device the card monitors (the UPS).
inline constexpr unsigned long long kMonitoredDevice = 20;

}  // namespace emailservice
