#include "email/MailCommand.h"

#include <chrono>
#include <exception>
#include <memory>
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

}  // namespace

std::string MailOutcome::reason() const {
  std::string why;
  if (handedOver) {
    return why;
  }
  if (!startFailure.empty()) {
    return "the mail command could not run: " + startFailure;
  }
  if (printed.find(SubmissionRules::kSendFailure) != std::string::npos) {
    why = lineOf(printed, SubmissionRules::kSendFailure);
  } else if (deadlineEnded) {
    return MailCommand::kNoAnswer + std::to_string(settings::kMailDeadlineSeconds) + " s";
  } else if (exitStatus > kSignalBase) {
    why = "ended by signal " + std::to_string(exitStatus - kSignalBase);
  } else {
    why = "exit status " + std::to_string(exitStatus);
  }
  std::string const said = lineOf(diagnostics, "");
  return said.empty() ? why : why + " (" + said + ")";
}

MailCommand::MailCommand(ComposedEmail const& email)
    : commandText(SubmissionRules::commandText(email)), input(email.body.value_or("")) {}

MailOutcome MailCommand::run() const {
  MailOutcome outcome;
  try {
    std::stringstream output;
    // The diagnostics are read where the build logs the reason of a failure; otherwise the
    // command's standard error stays the service's.
    auto diagnostics = settings::kMailDiagnosticsRead ? std::make_unique<std::stringstream>() : nullptr;
    auto const start = std::chrono::steady_clock::now();
    outcome.exitStatus =
        zorvan::exec({"/bin/sh", "-c", commandText}, input, settings::kMailDeadlineSeconds, &output, diagnostics.get());
    std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - start;
    outcome.printed = output.str();
    outcome.diagnostics = diagnostics ? diagnostics->str() : "";
    outcome.handedOver = SubmissionRules::handedOver(outcome.exitStatus, outcome.printed);
    // A failure text printed before the deadline ended the command is the reason, not the deadline.
    outcome.deadlineEnded = !outcome.handedOver && endedAtDeadline(outcome.exitStatus, seconds.count()) &&
                            outcome.printed.find(SubmissionRules::kSendFailure) == std::string::npos;
  } catch (std::exception const& failure) {
    outcome.handedOver = false;
    outcome.startFailure = failure.what();
  }
  return outcome;
}

}  // namespace emailservice
