#include "check/ListRules.h"

#include "DeviceNumbers.h"
#include "check/ShellText.h"
#include "dravo_config.pb.h"

namespace emailservice::check {

ListRules::ListRules(dravo::proto::EmailConfigurationList const& configurations, FindingList& collected)
    : list(configurations), findings(collected) {}

void ListRules::checkTemplate() const {
  if (list.configurations_size() > 0 && list.configurations(0).enabled().value()) {
    findings.add(Severity::Warning, "enabled", "", "true",
                 "the template at position 0 is never processed: it sends nothing, whatever it holds");
  }
}

// The walk stops at the first configuration that a test or periodic event addresses: an enabled
// one answers it, a disabled one fails a test and lets a periodic event go on.
void ListRules::checkIdUnique(int position) const {
  std::string const& id = list.configurations(position).id().value();
  for (int earlier = 1; earlier < position; ++earlier) {
    if (list.configurations(earlier).id().value() == id) {
      std::string const first = "configuration " + std::to_string(earlier);
      std::string message = "also the id of " + first;
      message += ": a test e-mail for it is answered by " + first;
      message += " only, a periodic report by the first of them that is enabled";
      findings.add(Severity::Error, "id", "", id, message);
      return;
    }
  }
}

void ListRules::checkHideIpAddress() const {
  if (!list.hideipaddress().value()) {
    return;
  }
  for (int position = 1; position < list.configurations_size(); ++position) {
    if (!list.configurations(position).hideipaddress().value()) {
      findings.add(Severity::Warning, "hideIpAddress", "", "true",
                   "hides the host address in the e-mails of every configuration, whatever their own hideIpAddress "
                   "says (configuration " +
                       std::to_string(position) + "'s is off)");
      return;
    }
  }
}

// The subject of every e-mail begins with the friendly name of the card, or, when it is empty,
// with the physical name of the monitored device. The other two names reach only bodies.
void ListRules::checkDeviceNames(DeviceNames const& names) const {
  checkSubjectName(kCommunicationModule, "friendlyName", names.cardFriendlyName, true);
  checkSubjectName(kMonitoredDevice, "physicalName", names.devicePhysicalName, names.cardFriendlyName.empty());
}

void ListRules::checkSubjectName(int device, char const* field, std::string const& name, bool alwaysInSubject) const {
  std::string const expansion = ShellText::doubleQuotedExpansion(name);
  if (expansion.empty()) {
    return;
  }
  findings.aboutDevice(device);
  std::string const when = alwaysInSubject ? "" : " once device 1 has no friendly name";
  findings.add(alwaysInSubject ? Severity::Error : Severity::Warning, field, "", name,
               "holds " + FindingList::quoted(expansion) +
                   ": in the default build the shell expands it in the subject of every e-mail" + when);
}

}  // namespace emailservice::check
