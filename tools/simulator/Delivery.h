// Where the card's mail command delivers: the environment of the command stand-ins, and the
// account of what arrived.
#pragma once

#include <set>
#include <string>

namespace simulator {

class Delivery final {
 public:
  // Into the Maildir `maildir` when `smtpUrl` is empty, to the SMTP server `smtpUrl` otherwise.
  Delivery(std::string maildir, std::string smtpUrl);

  // Puts the card's command stand-ins first on the PATH and tells the sendemail stand-in where
  // to deliver. `programPath` is the simulator's own executable, to find installed stand-ins.
  // False with `error` set when no stand-ins are found.
  bool configure(std::string const& programPath, std::string& error);
  // Where the e-mails went: the Maildir and the messages that arrived since configure(), or the server.
  std::string report() const;

 private:
  std::set<std::string> newMessages() const;

  std::string maildir;
  std::string smtpUrl;
  std::set<std::string> messagesBefore;
};

}  // namespace simulator
