#include "emailservice/ConfigurationCheck.h"

#include "check/ConfigurationRules.h"
#include "check/FindingList.h"
#include "check/ListRules.h"
#include "dravo_config.pb.h"

namespace emailservice::check {

namespace {

std::vector<Finding> checkList(dravo::proto::EmailConfigurationList const& list, DeviceNames const* names) {
  FindingList findings;
  ListRules const rules(list, findings);
  std::time_t const now = std::time(nullptr);
  for (int position = 0; position < list.configurations_size(); ++position) {
    findings.aboutConfiguration(position, list.configurations(position));
    if (position == 0) {
      rules.checkTemplate();
      continue;
    }
    ConfigurationRules(list.configurations(position), now, findings).check();
    rules.checkIdUnique(position);
  }
  findings.aboutList();
  rules.checkHideIpAddress();
  if (names != nullptr) {
    rules.checkDeviceNames(*names);
  }
  return findings.take();
}

}  // namespace

std::vector<Finding> checkConfigurations(dravo::proto::EmailConfigurationList const& list) {
  return checkList(list, nullptr);
}

std::vector<Finding> checkConfigurations(dravo::proto::EmailConfigurationList const& list, DeviceNames const& names) {
  return checkList(list, &names);
}

char const* severityName(Severity severity) {
  switch (severity) {
    case Severity::Error:
      return "error";
    case Severity::Warning:
      return "warning";
    case Severity::Note:
      return "note";
  }
  return "note";
}

std::string describe(Finding const& finding) {
  std::string where = "configuration list";
  if (finding.scope == Scope::Configuration) {
    where = "configuration " + std::to_string(finding.position) + " " + FindingList::quoted(finding.name);
  } else if (finding.scope == Scope::Device) {
    where = "device " + std::to_string(finding.position);
  }
  std::string const part = finding.part.empty() ? "" : " " + finding.part;
  return where + ": " + finding.field + part + " " + FindingList::quoted(finding.value) + ": " +
         severityName(finding.severity) + ": " + finding.message;
}

}  // namespace emailservice::check
