// The findings that need more than one configuration: the template, ids used twice, the
// list-wide host-address switch, and the device names that reach every subject.
#pragma once

#include "check/FindingList.h"

namespace dravo::proto {
class EmailConfigurationList;
}

namespace emailservice::check {

class ListRules final {
 public:
  ListRules(dravo::proto::EmailConfigurationList const& list, FindingList& findings);

  // The entry at position 0, which the service never processes.
  void checkTemplate() const;
  // An earlier configuration after the template with the id of the one at `position`.
  void checkIdUnique(int position) const;
  void checkHideIpAddress() const;
  void checkDeviceNames(DeviceNames const& names) const;

 private:
  void checkSubjectName(int device, char const* field, std::string const& name, bool alwaysInSubject) const;

  dravo::proto::EmailConfigurationList const& list;
  FindingList& findings;
};

}  // namespace emailservice::check
