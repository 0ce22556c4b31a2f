// Sends the kept e-mails again, oldest first, with the mail command of a first attempt.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "BuildSettings.h"
#include "outbox/OutboxStore.h"

namespace emailservice {

class OutboxRetry final {
 public:
  // What starts a pass: a call's event tries every failed e-mail at once (the relay may be back,
  // and the event's own e-mails come after them); a timer waits for each one's next attempt.
  // Both wait for a held e-mail to fall due.
  enum class Trigger { Event, Timer };

  // `store` is open (OutboxStore::open): its lock is held for the whole pass. After a failed
  // attempt n, a timer waits `retrySeconds` times 2 to the n - 1, at most an hour.
  OutboxRetry(OutboxStore& store, Trigger trigger, std::int64_t retrySeconds = settings::kOutboxRetrySeconds);

  // Drops what is damaged, gives up the kept e-mails that are too old or were tried too often,
  // then sends the others that are due, oldest first. Within a configuration the order holds: a
  // kept e-mail that is not sent (it fails again, or its time has not come) makes the later ones
  // of its configuration wait, and a held one the later ones of its alarm. A failure at the
  // deadline ends the sending of the pass (the relay does not answer: one deadline per pass), and
  // so does a kept e-mail that cannot be removed. True when nothing stays kept.
  bool run() const;

 private:
  // What one pass has learnt so far.
  struct Pass {
    std::set<std::string> waiting;                             // configurations whose kept e-mail was not sent
    std::vector<std::pair<std::string, std::string>> holding;  // configurations and alarms held
    bool noAnswer = false;  // a sending ended at its deadline: no more sending in this pass
    bool stuck = false;     // a kept e-mail could not be removed: the pass ends
    std::size_t remaining = 0;
  };

  void take(std::string const& sequence, Pass& pass) const;
  // Whether `email` waits in this pass, as the order and its time say.
  bool waits(KeptEmail const& email, std::int64_t age, Pass const& pass) const;
  // Sends one kept e-mail and records in `pass` what its end means for the later ones.
  void send(std::string const& sequence, KeptEmail& email, ComposedEmail const& composed, std::int64_t age,
            Pass& pass) const;
  // Counts a failed attempt in the record: a record that cannot be updated would let the e-mail
  // be tried without end, so it is given up instead.
  void countFailure(std::string const& sequence, KeptEmail& email, Pass& pass) const;
  void giveUp(std::string const& sequence, KeptEmail const& email, std::string const& why, Pass& pass) const;
  // Removes a kept e-mail; when it cannot, logs it and ends the pass (a delivered e-mail that stays
  // kept would be sent again by every later pass). False then.
  bool remove(std::string const& sequence, std::string const& name, Pass& pass) const;

  OutboxStore& store;
  Trigger trigger;
  std::int64_t retrySeconds;
};

}  // namespace emailservice
