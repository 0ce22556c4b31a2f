// The configuration check of a card file: the card is loaded as the card simulator loads it, and
// the configuration list and the device names are read through the simulated card's data store,
// as the e-mail service reads them.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "emailservice/ConfigurationCheck.h"

namespace tools {

class CardCheck final {
 public:
  explicit CardCheck(std::string cardFile) : file(std::move(cardFile)) {}

  // Loads the card (the simulated card then holds it) and checks it. False with `error` set
  // ("FILE: cannot read: ...", "FILE:LINE:COLUMN: ...") when the card file cannot be used.
  bool run(std::string& error);
  // The findings of the card that the simulated card holds now.
  static std::vector<emailservice::check::Finding> checkLoadedCard();

  bool hasErrors() const;
  // One finding a line: "FILE: configuration 2 "Facilities": exceptionEvents entry 3 ...".
  void printLines(std::ostream& out) const;
  // {"file": FILE, "findings": [{"severity": ..., "scope": ..., ...}, ...]}
  void printJson(std::ostream& out) const;

 private:
  std::string file;
  std::vector<emailservice::check::Finding> findings;
};

}  // namespace tools
