// Collects the findings of one check, each stamped with what it is about.
#pragma once

#include <string>
#include <vector>

#include "emailservice/ConfigurationCheck.h"

namespace dravo::proto {
class EmailConfiguration;
}

namespace emailservice::check {

class FindingList final {
 public:
  // The findings added from now on are about the configuration at `position`, the list, or the
  // device `device`.
  void aboutConfiguration(int position, dravo::proto::EmailConfiguration const& configuration);
  void aboutList();
  void aboutDevice(int device);

  void add(Severity severity, std::string field, std::string part, std::string value, std::string message);
  std::vector<Finding> take() { return std::move(findings); }

  // `text` between double quotes, with quotes, backslashes and control characters escaped.
  static std::string quoted(std::string const& text);

 private:
  Finding subject{};  // what the next findings are about: set by the about...() calls
  std::vector<Finding> findings;
};

}  // namespace emailservice::check
