#include "Delivery.h"

#include <unistd.h>

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
constexpr char const kSendLogVariable[] = "SIMCARD_SEND_LOG";

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

// A private, empty file for the stand-in's account of the sendings; empty when none can be made.
std::string makeSendLog() {
  char const* const tmp = std::getenv("TMPDIR");
  std::string path = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/emailservice-sendings.XXXXXX";
  int const fd = ::mkstemp(path.data());
  if (fd < 0) {
    return "";
  }
  ::close(fd);
  return path;
}

}  // namespace

Delivery::Delivery(std::string maildirPath, std::string serverUrl)
    : maildir(std::move(maildirPath)), smtpUrl(std::move(serverUrl)) {}

Delivery::~Delivery() {
  if (!sendLog.empty()) {
    ::unlink(sendLog.c_str());
  }
}

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
  sendLog = makeSendLog();
  if (sendLog.empty()) {
    error = "cannot create a file in the temporary directory for the account of the sendings";
    return false;
  }
  setenv(kSendLogVariable, sendLog.c_str(), 1);

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
  // The stand-in's lines: "sent" or "failed", a tab, then the e-mail as it is to be shown.
  std::vector<std::string> sent;
  std::vector<std::string> failed;
  std::ifstream account(sendLog);
  for (std::string line; std::getline(account, line);) {
    auto const tab = line.find('\t');
    (line.compare(0, tab, "sent") == 0 ? sent : failed).push_back(line.substr(tab + 1));
  }
  std::ostringstream text;
  if (!smtpUrl.empty() && sent.empty()) {
    text << "No e-mail was handed to the SMTP server " << smtpUrl << "\n";
  } else if (!smtpUrl.empty()) {
    text << "E-mails handed to the SMTP server " << smtpUrl << ": " << sent.size() << "\n";
  } else {
    std::size_t arrived = 0;
    for (auto const& message : newMessages()) {
      arrived += messagesBefore.count(message) == 0 ? 1U : 0U;
    }
    text << "E-mails are delivered into the Maildir " << maildir << " (" << arrived << " new message(s) in this run)\n";
  }
  for (auto const& line : sent) {
    text << "  " << line << "\n";
  }
  if (!failed.empty()) {
    text << "Not sent: " << failed.size() << "\n";
  }
  for (auto const& line : failed) {
    text << "  " << line << "\n";
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
