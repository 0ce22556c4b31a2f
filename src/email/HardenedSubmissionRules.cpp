// The hardened mail command: every piece that comes from data is quoted, so that the shell takes
// it as plain text; the exit status counts; ids that are not plain names are refused.
#include <algorithm>

#include "email/ShellQuote.h"
#include "email/SubmissionRules.h"

namespace emailservice {

namespace {

// The subject as the contract's command gives it to sendemail: its double quotes give back every
// character but a backquote, which the escaping turned into a single quote.
std::string subjectAsSent(std::string subject) {
  std::replace(subject.begin(), subject.end(), '`', '\'');
  return subject;
}

}  // namespace

// For ordinary values sendemail gets the words of the contract's command: the subject, the
// attachment paths, the recipients split at blanks, and the body on its standard input.
std::string SubmissionRules::commandText(ComposedEmail const& email) {
  std::string text = "sudo -u email sendemail -s ";
  text += ShellQuote::word(subjectAsSent(email.subject));
  if (!email.attachments.empty()) {
    text += " -a";
    for (auto const& path : email.attachments) {
      text += ' ';
      text += ShellQuote::word(path);
    }
  }
  text += " --";
  text += ShellQuote::words(email.recipients);
  if (!email.body) {
    text += " < ";
    text += ShellQuote::word(email.bodyFile);
  }
  return text;
}

// Only a command that ended by itself with status 0 and did not report a failure sent: a missing
// or killed sendemail, a body file the shell could not open, or a command ended at its deadline
// did not.
bool SubmissionRules::handedOver(int exitStatus, std::string const& printed) {
  return exitStatus == 0 && printed.find(kSendFailure) == std::string::npos;
}

// The id ends up in the path of the body work file: only a plain name keeps that file inside the
// work directory and names no other file (not empty, not "." or "..", no "/", no NUL or other
// control character).
bool SubmissionRules::acceptsConfigurationId(std::string const& id) {
  return !id.empty() && id != "." && id != ".." && std::none_of(id.begin(), id.end(), [](char c) {
    auto const byte = static_cast<unsigned char>(c);
    return c == '/' || byte < 0x20 || byte == 0x7f;
  });
}

}  // namespace emailservice
