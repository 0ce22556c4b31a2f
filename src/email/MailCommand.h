// One run of the card's mail command for one composed e-mail: the command text, how its end
// counts, and (with the outbox) why it did not hand the message over.
#pragma once

#include <string>

namespace emailservice {

class MailCommand final {
 public:
  // `escapedSubject` is the subject after EmailGlobalConfig::escapeSubjectChars; `attachments`
  // the attachment list with a blank before every path.
  MailCommand(std::string const& escapedSubject, std::string const& attachments, std::string const& recipients,
              std::string const& bodyFile);

  // Runs the command to its end (or its deadline); true when the message was handed over by the
  // rules of the build. A command that cannot start did not hand it over.
  bool run();

#ifdef EMAILSERVICE_OUTBOX
  // Why the last run did not hand the message over: the failure text and the last line of the
  // command's diagnostics, its exit status or signal, "no answer within N s", or why it could not
  // start. Empty after a run that handed it over.
  std::string const& failure() const { return reason; }
  // True when the last run was ended at its deadline ("no answer within N s").
  bool timedOut() const { return reason.rfind(kNoAnswer, 0) == 0; }
  static constexpr char const kNoAnswer[] = "no answer within ";
#endif

 private:
  std::string text;
#ifdef EMAILSERVICE_OUTBOX
  std::string reason;
#endif
};

}  // namespace emailservice
