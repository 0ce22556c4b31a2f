// Lays out the card's directories and files from a card's state, as the card's platform has them
// before the e-mail service is first used: the files that the simulated card's commands and
// measures service read (system logs, measure records), which loading the state leaves alone.
#pragma once

#include <string>

#include "card_state.pb.h"

namespace simcard {

class CardPreparation final {
 public:
  explicit CardPreparation(proto::CardState const& card) : state(card) {}

  // Creates the work directory, the card's log directory with the system logs of the card file,
  // and the two measures directories with their records. False with `error` set on failure.
  bool prepare(std::string& error) const;

 private:
  bool writeSystemLogs(std::string& error) const;

  proto::CardState const& state;
};

}  // namespace simcard
