// Sends the kept e-mails again, oldest first, with the mail command of a first attempt.
#pragma once

#include <set>
#include <string>

#include "outbox/OutboxStore.h"

namespace emailservice {

class OutboxRetry final {
 public:
  // `store` is open (OutboxStore::open): its lock is held for the whole pass.
  explicit OutboxRetry(OutboxStore& store);

  // Drops what is damaged, gives up the kept e-mails that are too old or were tried too often,
  // then sends the others again, oldest first. After a failure the later kept e-mails of the same
  // configuration wait for the next pass (none may arrive before an earlier one of its
  // configuration), those of the other configurations are still sent; a failure at the deadline
  // ends the sending of the pass (the relay does not answer: one deadline per pass), and so does
  // a kept e-mail that cannot be removed. True when nothing stays kept.
  bool run() const;

 private:
  // What one pass has learnt so far.
  struct Pass {
    std::set<std::string> held;  // ids of the configurations whose kept e-mail failed again
    bool noAnswer = false;       // a sending ended at its deadline: no more sending in this pass
    bool stuck = false;          // a kept e-mail could not be removed: the pass ends
    std::size_t remaining = 0;
  };

  void take(std::string const& sequence, Pass& pass) const;
  // Sends one kept e-mail and records in `pass` what its end means for the later ones.
  void send(std::string const& sequence, KeptEmail& email, ComposedEmail const& composed, Pass& pass) const;
  // Counts a failed attempt in the record: a record that cannot be updated would let the e-mail
  // be tried without end, so it is given up instead.
  void countFailure(std::string const& sequence, KeptEmail& email, Pass& pass) const;
  void giveUp(std::string const& sequence, KeptEmail const& email, std::string const& why, Pass& pass) const;
  // Removes a kept e-mail; when it cannot, logs it and ends the pass (a delivered e-mail that stays
  // kept would be sent again by every later pass). False then.
  bool remove(std::string const& sequence, std::string const& name, Pass& pass) const;

  OutboxStore& store;
};

}  // namespace emailservice
