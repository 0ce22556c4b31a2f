#include "email/MailCommand.h"

#include <exception>
#include <sstream>
#include <vector>

#include "email/ShellQuote.h"
#include "zorvan/Exec.h"

#ifdef EMAILSERVICE_OUTBOX
#include <chrono>
#endif

namespace emailservice {

namespace {

// What sendemail prints when the message did not go out.
constexpr char const kSendFailure[] = "Could not send the message";

#ifdef EMAILSERVICE_HARDENED_SUBMISSION

// The mail command and everything it started are ended after this many seconds.
constexpr unsigned int kMailDeadlineSeconds = EMAILSERVICE_MAIL_DEADLINE_SECONDS;

// The message went out only when the command ended by itself with status 0 and did not report a
// failure: a missing or killed sendemail, a body file the shell could not open, or a command
// ended at its deadline did not send.
bool handedOver(int exitStatus, std::string const& printed) {
  return exitStatus == 0 && printed.find(kSendFailure) == std::string::npos;
}

// The shell command that submits one e-mail, hardened: every piece that comes from data is
// quoted, so that the shell takes it as plain text. For ordinary values sendemail gets the words
// of the default command: the subject as the shell reads it back from its double quotes, then
// the attachment paths, the recipients split at blanks, and the body path.
std::string mailCommandText(std::string const& escapedSubject, std::string const& attachments,
                            std::string const& recipients, std::string const& bodyFile) {
  std::string text = "sudo -u email sendemail -s ";
  text += ShellQuote::word(ShellQuote::unescapeDoubleQuoted(escapedSubject));
  if (!attachments.empty()) {
    text += " -a";
    text += ShellQuote::words(attachments);
  }
  text += " --";
  text += ShellQuote::words(recipients);
  text += " < ";
  text += ShellQuote::word(bodyFile);
  return text;
}

#else

// No deadline: the mail command runs as long as it takes.
constexpr unsigned int kMailDeadlineSeconds = 0;

// Only the failure text decides: a refused sudo, a missing body file or a non-zero exit status
// without that text still count as handed over.
bool handedOver(int /*exitStatus*/, std::string const& printed) {
  return printed.find(kSendFailure) == std::string::npos;
}

// The shell command that submits one e-mail. Only the subject is quoted (it must already be
// escaped for a double-quoted word). The attachment list carries its own leading blanks; the
// recipients are split into words by the shell; neither they nor the paths are quoted.
std::string mailCommandText(std::string const& escapedSubject, std::string const& attachments,
                            std::string const& recipients, std::string const& bodyFile) {
  std::string text = "sudo -u email sendemail -s \"";
  text += escapedSubject;
  text += attachments.empty() ? "\"" : "\" -a";
  text += attachments;
  text += " -- ";
  text += recipients;
  text += " < ";
  text += bodyFile;
  return text;
}

#endif

#ifdef EMAILSERVICE_OUTBOX

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

// What the command printed, its exit status or signal, and the last word of its diagnostics.
std::string describeFailure(int exitStatus, std::string const& printed, std::string const& diagnostics,
                            double seconds) {
  std::string reason;
  if (printed.find(kSendFailure) != std::string::npos) {
    reason = lineOf(printed, kSendFailure);
  } else if (kMailDeadlineSeconds > 0 && exitStatus == kSignalBase + kKillSignal && seconds >= kMailDeadlineSeconds) {
    return MailCommand::kNoAnswer + std::to_string(kMailDeadlineSeconds) + " s";
  } else if (exitStatus > kSignalBase) {
    reason = "ended by signal " + std::to_string(exitStatus - kSignalBase);
  } else {
    reason = "exit status " + std::to_string(exitStatus);
  }
  std::string const said = lineOf(diagnostics, "");
  return said.empty() ? reason : reason + " (" + said + ")";
}

#endif

}  // namespace

MailCommand::MailCommand(std::string const& escapedSubject, std::string const& attachments,
                         std::string const& recipients, std::string const& bodyFile)
    : text(mailCommandText(escapedSubject, attachments, recipients, bodyFile)) {}

#ifdef EMAILSERVICE_OUTBOX

// The diagnostics are kept too: they carry the reason that the failure text leaves out.
bool MailCommand::run() {
  reason.clear();
  try {
    std::stringstream output;
    std::stringstream diagnostics;
    auto const start = std::chrono::steady_clock::now();
    int const exitStatus = zorvan::exec({"/bin/sh", "-c", text}, "", kMailDeadlineSeconds, &output, &diagnostics);
    std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - start;
    if (handedOver(exitStatus, output.str())) {
      return true;
    }
    reason = describeFailure(exitStatus, output.str(), diagnostics.str(), seconds.count());
  } catch (std::exception const& failure) {
    reason = std::string("the mail command could not run: ") + failure.what();
  }
  return false;
}

#else

bool MailCommand::run() {
  try {
    std::stringstream output;
    int const exitStatus = zorvan::exec({"/bin/sh", "-c", text}, "", kMailDeadlineSeconds, &output, nullptr);
    return handedOver(exitStatus, output.str());
  } catch (std::exception const&) {
    return false;
  }
}

#endif

}  // namespace emailservice
