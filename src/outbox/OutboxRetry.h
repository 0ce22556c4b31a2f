// Sends the kept e-mails again, oldest first, with the mail command of a first attempt.
#pragma once

#include <cstddef>
#include <string>

#include "outbox/OutboxStore.h"

namespace emailservice {

class OutboxRetry final {
 public:
  explicit OutboxRetry(OutboxStore const& store);

  // Gives up the kept e-mails that are too old or were tried too often, then sends the others
  // again, oldest first, and stops at the first that fails again: the relay is still unreachable,
  // and a later e-mail must not arrive before an earlier one. Returns how many stay kept.
  std::size_t run() const;

 private:
  // Sends one kept e-mail; false when it stays kept after a failed attempt.
  bool send(std::string const& sequence, KeptEmail& email) const;
  void giveUp(std::string const& sequence, KeptEmail const& email, std::string const& why) const;

  OutboxStore const& store;
};

}  // namespace emailservice
