// One recipient configuration at work on one event.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "emailservice/EmailEvent.h"
#include "emailservice/ErrorCode.h"
#include "emailservice/Export.h"

namespace cdsapi {
class CdsAccessor;
}
namespace dravo::proto {
class EmailConfiguration;
}

namespace emailservice {

class EmailGlobalConfig;

class EMAILSERVICE_EXPORT EmailConfig {
 public:
  // The three references must outlive the object.
  EmailConfig(cdsapi::CdsAccessor& cdsAccessor, EmailEvent const& event,
              dravo::proto::EmailConfiguration const& configuration);
  virtual ~EmailConfig();
  EmailConfig(EmailConfig const&) = delete;
  EmailConfig& operator=(EmailConfig const&) = delete;

  // Copies the configuration's recipient text into recipients().
  void setRecipients();
  // True when the event's code has both bits 22 and 23 set. A code that does not parse writes a
  // line to standard output and answers false.
  bool isEmailEvent() const;
  // True when the event's code equals, as a hexadecimal number, one of `codes`. A code or an
  // entry that does not parse writes a line to standard output and answers false.
  bool isExceptionEvent(std::vector<std::string> const& codes) const;
  // Chooses, composes and sends the e-mail that the event calls for under this configuration.
  // `hideIpAddress` is the list-level flag; when false the configuration's own flag applies.
  ErrorCode manageEmail(bool hideIpAddress);
  // Writes the outcome `code` of this configuration to the card's log (nothing for Success).
  void logError(ErrorCode code);

  std::string const& getRecipients() const { return recipients; }
  std::vector<std::string> const& getExceptionEventCodes() const { return exceptionEventCodes; }
  std::vector<std::string> const& getExcludedEventCodes() const { return excludedEventCodes; }

 private:
  cdsapi::CdsAccessor& cdsAccessor;
  EmailEvent const& event;
  dravo::proto::EmailConfiguration const& configuration;
  std::unique_ptr<EmailGlobalConfig> selectedEmail;
  std::string recipients;
  std::vector<std::string> exceptionEventCodes;
  std::vector<std::string> excludedEventCodes;
};

}  // namespace emailservice
