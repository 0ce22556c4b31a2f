#include "email/MailCommand.h"

#include <chrono>
#include <exception>
#include <sstream>
#include <vector>

#include "BuildSettings.h"
#include "email/SubmissionRules.h"
#include "zorvan/Exec.h"

namespace emailservice {

namespace {

// Exit statuses above this one are 128 plus the number of the signal that ended the command.
constexpr int kSignalBase = 128;
constexpr int kKillSignal = 9;

// The line of `text` that holds `words`, or else its last line that is not empty.
std::string lineOf(std::string const& text, std::string const& words) {
  std::string::size_type found = words.empty() ? std::string::npos : text.find(words);
  if (found == std::string::npos) {
    found = text.find_last_not_of("\r\n");
    if (found == std::string::npos) {
      return "";
    }
  }
  std::string::size_type const begin = text.rfind('\n', found);
  std::string::size_type const start = begin == std::string::npos ? 0 : begin + 1;
  return text.substr(start, text.find('\n', found) - start);
}

// Whether a command that was killed after `seconds` was ended at its deadline.
bool endedAtDeadline(int exitStatus, double seconds) {
  unsigned int const deadline = settings::kMailDeadlineSeconds;
  return deadline > 0 && exitStatus == kSignalBase + kKillSignal && seconds >= deadline;
}

// Why the command did not hand the message over: the line of its failure text, else the deadline,
// its signal or its exit status, with the last line of its diagnostics.
void describeFailure(int exitStatus, double seconds, std::string const& printed, std::string const& diagnostics,
                     MailOutcome& outcome) {
  std::string reason;
  if (printed.find(SubmissionRules::kSendFailure) != std::string::npos) {
    reason = lineOf(printed, SubmissionRules::kSendFailure);
  } else if (endedAtDeadline(exitStatus, seconds)) {
    outcome.deadlineEnded = true;
    outcome.reason = MailCommand::kNoAnswer + std::to_string(settings::kMailDeadlineSeconds) + " s";
    return;
  } else if (exitStatus > kSignalBase) {
    reason = "ended by signal " + std::to_string(exitStatus - kSignalBase);
  } else {
    reason = "exit status " + std::to_string(exitStatus);
  }
  std::string const said = lineOf(diagnostics, "");
  outcome.reason = said.empty() ? reason : reason + " (" + said + ")";
}

}  // namespace

MailCommand::MailCommand(ComposedEmail const& email)
    : commandText(SubmissionRules::commandText(email)), input(email.body.value_or("")) {}

MailOutcome MailCommand::run() const {
  MailOutcome outcome;
  try {
    std::stringstream output;
    std::stringstream diagnostics;
    auto const start = std::chrono::steady_clock::now();
    // The diagnostics are read where the build logs the reason of a failure; otherwise the
    // command's standard error stays the service's.
    int const exitStatus = zorvan::exec({"/bin/sh", "-c", commandText}, input, settings::kMailDeadlineSeconds, &output,
                                        settings::kMailDiagnosticsRead ? &diagnostics : nullptr);
    std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - start;
    outcome.handedOver = SubmissionRules::handedOver(exitStatus, output.str());
    if (!outcome.handedOver) {
      describeFailure(exitStatus, seconds.count(), output.str(), diagnostics.str(), outcome);
    }
  } catch (std::exception const& failure) {
    outcome.handedOver = false;
    outcome.reason = std::string("the mail command could not run: ") + failure.what();
  }
  return outcome;
}

}  // namespace emailservice
