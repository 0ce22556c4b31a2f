#include "netinfo/netinfo.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <fstream>

#include "simcard/SimulatedCard.h"

namespace netinfo {

namespace {

simcard::proto::Network const& overrides() { return simcard::SimulatedCard::instance().state().network(); }

std::string hostName() {
  char name[HOST_NAME_MAX + 1] = {};
  if (::gethostname(name, sizeof name - 1) != 0) {
    return {};
  }
  return name;
}

// The first interface that is up, is not the loopback and has an IPv4 address, with that address.
bool firstUpInterface(std::string& interfaceName, std::string& address) {
  ifaddrs* interfaces = nullptr;
  if (::getifaddrs(&interfaces) != 0) {
    return false;
  }
  bool found = false;
  for (ifaddrs const* entry = interfaces; entry != nullptr && !found; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || (entry->ifa_flags & IFF_UP) == 0 ||
        (entry->ifa_flags & IFF_LOOPBACK) != 0) {
      continue;
    }
    sockaddr_in ipv4{};
    std::memcpy(&ipv4, entry->ifa_addr, sizeof ipv4);
    char text[INET_ADDRSTRLEN] = {};
    if (::inet_ntop(AF_INET, &ipv4.sin_addr, text, sizeof text) != nullptr) {
      interfaceName = entry->ifa_name;
      address = text;
      found = true;
    }
  }
  ::freeifaddrs(interfaces);
  return found;
}

}  // namespace

std::string fqdn() {
  if (overrides().has_fqdn()) {
    return overrides().fqdn();
  }
  std::string name = hostName();
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_flags = AI_CANONNAME;
  addrinfo* found = nullptr;
  if (name.empty() || ::getaddrinfo(name.c_str(), nullptr, &hints, &found) != 0) {
    return name;
  }
  std::string canonical = found->ai_canonname != nullptr ? found->ai_canonname : name;
  ::freeaddrinfo(found);
  return canonical;
}

std::string ipv4_address() {
  if (overrides().has_ipv4address()) {
    return overrides().ipv4address();
  }
  std::string interfaceName;
  std::string address;
  return firstUpInterface(interfaceName, address) ? address : std::string();
}

std::string getSystemMacAddress() {
  if (overrides().has_macaddress()) {
    return overrides().macaddress();
  }
  std::string interfaceName;
  std::string address;
  if (!firstUpInterface(interfaceName, address)) {
    return {};
  }
  std::ifstream in("/sys/class/net/" + interfaceName + "/address");
  std::string mac;
  std::getline(in, mac);
  return mac;
}

}  // namespace netinfo
