#include "Delivery.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace simulator {

namespace {

namespace fs = std::filesystem;

// Settings of the sendemail stand-in, read from its environment (sudo's stand-in passes them on).
constexpr char const kMaildirVariable[] = "SIMCARD_MAILDIR";
constexpr char const kSmtpVariable[] = "SIMCARD_SMTP_URL";

// A directory that holds the card's mail command and the sudo that runs it.
bool holdsStandIns(fs::path const& directory) {
  std::error_code failure;
  return fs::exists(directory / "sudo", failure) && fs::exists(directory / "sendemail", failure);
}

// The stand-ins of an installed simulator, relative to its executable, then those of its build tree.
std::vector<std::string> standInDirectories(std::string const& programPath) {
  std::vector<std::string> found;
  std::error_code failure;
  fs::path const program = fs::canonical(programPath, failure);
  if (!failure) {
    fs::path const installed = program.parent_path() / EMAILSERVICE_SIMULATOR_INSTALLED_BIN_DIR;
    if (holdsStandIns(installed)) {
      found.push_back(fs::canonical(installed, failure).string());
    }
  }
  if (holdsStandIns(EMAILSERVICE_SIMULATOR_BUILD_BIN_DIR)) {
    found.push_back(EMAILSERVICE_SIMULATOR_BUILD_BIN_DIR);
  }
  return found;
}

// The "Subject:" header of a message file, its folded continuation lines joined.
std::string subjectOf(fs::path const& message) {
  std::ifstream in(message);
  std::string subject;
  std::string line;
  while (std::getline(in, line) && !line.empty() && line != "\r") {
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    bool const continuation = line[0] == ' ' || line[0] == '\t';
    if (!subject.empty() && !continuation) {
      break;
    }
    if (!subject.empty() || line.compare(0, 8, "Subject:") == 0) {
      subject += line;  // unfolding keeps the blank that starts a continuation line
    }
  }
  return subject.empty() ? "(no subject)" : subject;
}

}  // namespace

Delivery::Delivery(std::string maildirPath, std::string serverUrl)
    : maildir(std::move(maildirPath)), smtpUrl(std::move(serverUrl)) {}

bool Delivery::configure(std::string const& programPath, std::string& error) {
  std::vector<std::string> const directories = standInDirectories(programPath);
  if (directories.empty()) {
    error =
        std::string("the card's command stand-ins (sudo, sendemail) are found neither next to the simulator nor in ") +
        EMAILSERVICE_SIMULATOR_BUILD_BIN_DIR;
    return false;
  }
  std::string path;
  for (auto const& directory : directories) {
    path += directory + ":";
  }
  char const* const inherited = std::getenv("PATH");
  path += inherited != nullptr ? inherited : "/usr/bin:/bin";
  setenv("PATH", path.c_str(), 1);

  if (!smtpUrl.empty()) {
    unsetenv(kMaildirVariable);
    setenv(kSmtpVariable, smtpUrl.c_str(), 1);
    return true;
  }
  // The stand-in creates the Maildir itself, as the user that it delivers as.
  std::error_code failure;
  maildir = fs::absolute(maildir, failure).lexically_normal().string();
  if (failure) {
    error = "bad Maildir " + maildir + ": " + failure.message();
    return false;
  }
  unsetenv(kSmtpVariable);
  setenv(kMaildirVariable, maildir.c_str(), 1);
  messagesBefore = newMessages();
  return true;
}

std::string Delivery::report() const {
  std::ostringstream text;
  if (!smtpUrl.empty()) {
    text << "E-mails were handed to the SMTP server " << smtpUrl << "\n";
    return text.str();
  }
  std::set<std::string> arrived;
  for (auto const& message : newMessages()) {
    if (messagesBefore.count(message) == 0) {
      arrived.insert(message);
    }
  }
  text << "E-mails are delivered into the Maildir " << maildir << " (" << arrived.size()
       << " new message(s) in this run)\n";
  for (auto const& message : arrived) {
    text << "  " << message << "  " << subjectOf(message) << "\n";
  }
  return text.str();
}

std::set<std::string> Delivery::newMessages() const {
  std::set<std::string> messages;
  std::error_code failure;
  for (fs::directory_iterator entry(fs::path(maildir) / "new", failure), end; !failure && entry != end;
       entry.increment(failure)) {
    messages.insert(entry->path().string());
  }
  return messages;
}

}  // namespace simulator
