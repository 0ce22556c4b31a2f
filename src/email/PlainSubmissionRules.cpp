// The mail command of the library's contract: only the subject is quoted, and only the failure
// text that sendemail prints decides.
#include "email/EmailGlobalConfig.h"
#include "email/SubmissionRules.h"

namespace emailservice {

// The subject escaped for its double quotes; the attachment list carries its own leading blanks;
// the recipients are split into words by the shell; neither they nor the paths are quoted. A body
// given as text comes on the standard input, without the redirection of the body file.
std::string SubmissionRules::commandText(ComposedEmail const& email) {
  std::string subject = email.subject;
  EmailGlobalConfig::escapeForDoubleQuotes(subject);
  std::string text = "sudo -u email sendemail -s \"";
  text += subject;
  text += email.attachmentList.empty() ? "\"" : "\" -a";
  text += email.attachmentList;
  text += " -- ";
  text += email.recipients;
  if (!email.body) {
    text += " < ";
    text += email.bodyFile;
  }
  return text;
}

// A refused sudo, a missing body file or a non-zero exit status without the failure text still
// count as handed over.
bool SubmissionRules::handedOver(int /*exitStatus*/, std::string const& printed) {
  return printed.find(kSendFailure) == std::string::npos;
}

bool SubmissionRules::acceptsConfigurationId(std::string const& /*id*/) { return true; }

}  // namespace emailservice
