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
  // The command was ended at its deadline.
  bool deadlineEnded = false;
  // How it ended: its exit status (128 + N: ended by signal N), what it printed on its standard
  // output and on its standard error (where the build reads it), or why it could not start.
  int exitStatus = 0;
  std::string printed;
  std::string diagnostics;
  std::string startFailure;

  // Why the message was not handed over: the line of the failure text and the last line of the
  // command's diagnostics, its exit status or signal, "no answer within N s", or why it could not
  // start. Made when asked (the outbox logs it), not by every run.
  std::string reason() const;
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
