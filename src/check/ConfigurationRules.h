// The findings of one configuration after the template: its code lists, id, recipients, name,
// level tables and periodic start, and whether it can send anything but tests and reports.
#pragma once

#include <ctime>
#include <string>

#include "check/CodeList.h"
#include "check/FindingList.h"

namespace dravo::proto {
class EmailConfiguration;
class EventConfiguration;
}  // namespace dravo::proto

namespace emailservice::check {

class ConfigurationRules final {
 public:
  // `now` is the time that periodic starts are compared with.
  ConfigurationRules(dravo::proto::EmailConfiguration const& configuration, std::time_t now, FindingList& findings);

  void check() const;

 private:
  void checkCodeList(char const* field, CodeList const& codes, char const* events) const;
  void checkCodeValues(char const* field, CodeList const& codes) const;
  void checkExceptionAlsoExcluded() const;
  void checkId() const;
  void checkRecipients() const;
  void checkRecipientWord(std::string const& word, std::size_t number) const;
  void checkName() const;
  void checkTables() const;
  void checkLevel(std::string const& field, dravo::proto::EventConfiguration const& level, bool upsLogs,
                  char const* consequence) const;
  void checkPeriodicStart() const;
  void checkSendsSomething() const;

  dravo::proto::EmailConfiguration const& configuration;
  std::time_t now;
  FindingList& findings;
  CodeList exceptions;
  CodeList exclusions;
};

}  // namespace emailservice::check
