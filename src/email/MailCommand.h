// One run of the card's mail command for one composed e-mail: the command text of the build's
// rules (SubmissionRules), and what came of it. A retry of a kept e-mail runs exactly the command
// of a first attempt.
#pragma once

#include <string>

#include "email/ComposedEmail.h"

namespace emailservice {

// What came of one run of the mail command.
struct MailOutcome {
  bool handedOver = false;
  // Why the message was not handed over: the failure text and the last line of the command's
  // diagnostics (where the build reads them), its exit status or signal, "no answer within N s",
  // or why it could not start. Empty when it was handed over.
  std::string reason;
  // The command was ended at its deadline.
  bool deadlineEnded = false;
};

class MailCommand final {
 public:
  explicit MailCommand(ComposedEmail const& email);

  // The shell command text.
  std::string const& text() const { return commandText; }
  // Runs the command to its end (or its deadline). A command that cannot start did not hand the
  // message over.
  MailOutcome run() const;

  // How a reason that the deadline gave begins.
  static constexpr char const kNoAnswer[] = "no answer within ";

 private:
  std::string commandText;
  std::string input;  // the body, where the command reads it on its standard input
};

}  // namespace emailservice
