// The simulator's command line: the card file, the event record, the delivery and the reporting.
#pragma once

#include <string>
#include <vector>

#include "emailservice/EmailEvent.h"

namespace simulator {

// What one run of the simulator does.
struct SimulatorOptions {
  std::string cardFile;
  emailservice::EmailEvent event{};
  std::string maildir;  // delivery into this Maildir, when smtpUrl is empty
  std::string smtpUrl;  // delivery to this SMTP server
  bool logResult = false;
  std::string logConfigurationId;  // empty: chosen from the event
  bool logConfigurationGiven = false;
  bool check = false;       // check the card's configurations first and print the findings
  bool listOutbox = false;  // list the kept e-mails and do nothing else
  bool retryOnly = false;   // send the kept e-mails again instead of firing an event
  bool help = false;
  bool version = false;
};

// Parses the arguments (without the program name) with getopt_long: "--name value",
// "--name=value" and unique abbreviations; "--" ends the options. Every option may be given once
// at most; names of types, levels and states are read in any case.
class OptionParser final {
 public:
  explicit OptionParser(std::string maildir);

  // False with `error` set when the command line is not usable.
  bool parse(std::vector<std::string> const& args, SimulatorOptions& options, std::string& error) const;

  static std::string usage(std::string const& program, std::string const& defaultMaildir);

 private:
  static bool complete(SimulatorOptions const& options, bool typeGiven, bool maildirGiven, std::string& error);

  std::string defaultMaildir;
};

}  // namespace simulator
