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
  // Removes the account of the sendings.
  ~Delivery();
  Delivery(Delivery const&) = delete;
  Delivery& operator=(Delivery const&) = delete;

  // Puts the card's command stand-ins first on the PATH, tells the sendemail stand-in where to
  // deliver and where to account for each sending. `programPath` is the simulator's own
  // executable, to find installed stand-ins. False with `error` set when no stand-ins are found.
  bool configure(std::string const& programPath, std::string& error);
  // Where the e-mails went since configure(): the Maildir and how many messages arrived there, or
  // how many the SMTP server took; each e-mail sent with its recipients and subject; each one
  // not sent with the reason the stand-in gave.
  std::string report() const;

 private:
  std::set<std::string> newMessages() const;

  std::string maildir;
  std::string smtpUrl;
  std::set<std::string> messagesBefore;
  std::string sendLog;  // the stand-in's account of the sendings (SIMCARD_SEND_LOG)
};

}  // namespace simulator
