// Lays out the card's directories and files from a card file, as the card's platform has them
// before the e-mail service is first used.
#pragma once

#include <string>

#include "card_state.pb.h"

namespace simulator {

class CardPreparation final {
 public:
  explicit CardPreparation(simcard::proto::CardState const& card) : state(card) {}

  // Creates the work directory, the card's log directory with the system logs of the card file,
  // and the two measures directories with their records. False with `error` set on failure.
  bool prepare(std::string& error) const;

 private:
  bool writeSystemLogs(std::string& error) const;

  simcard::proto::CardState const& state;
};

}  // namespace simulator
