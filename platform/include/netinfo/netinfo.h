// Network information library: how the card is reached on the network.
#pragma once

#include <string>

namespace netinfo {

// The card's fully qualified domain name.
std::string fqdn();
// The card's IPv4 address in dotted notation.
std::string ipv4_address();
// The MAC address of the card's network interface, as six colon-separated pairs of hex digits.
std::string getSystemMacAddress();

}  // namespace netinfo
