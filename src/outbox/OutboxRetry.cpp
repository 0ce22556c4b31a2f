#include "outbox/OutboxRetry.h"

#include <string>

#include "BuildSettings.h"
#include "email/MailCommand.h"
#include "outbox/DurableFiles.h"
#include "outbox/OutboxLock.h"
#include "outbox/OutboxLog.h"

namespace emailservice {

namespace {

constexpr std::int64_t kMaxAgeSeconds = settings::kOutboxMaxAgeSeconds;
constexpr std::int32_t kMaxAttempts = settings::kOutboxMaxAttempts;

// Why an e-mail tried the most times allowed is given up.
std::string attemptsSpent() { return "at most " + std::to_string(kMaxAttempts) + " attempts"; }

}  // namespace

OutboxRetry::OutboxRetry(OutboxStore const& outbox) : store(outbox) {}

std::size_t OutboxRetry::run() const {
  // An outbox that was never created holds nothing.
  if (!DurableFiles::exists(store.directory())) {
    return 0;
  }
  OutboxLock lock;
  if (!lock.lock(store.directory())) {
    std::size_t const kept = store.list().size();
    OutboxLog::notRetried(DurableFiles::systemError("cannot lock", store.directory()));
    return kept;
  }
  store.removeLeftovers();
  Pass pass;
  for (auto const& sequence : store.list()) {
    take(sequence, pass);
  }
  return pass.remaining;
}

void OutboxRetry::take(std::string const& sequence, Pass& pass) const {
  KeptEmail email;
  // A stuck pass, a relay that does not answer and a configuration held back all leave the e-mail
  // kept for the next pass; only the first is known before its record is read.
  if (pass.stuck) {
    ++pass.remaining;
    return;
  }
  if (!store.read(sequence, email)) {
    if (remove(sequence, "", pass)) {
      OutboxLog::unreadableDropped(sequence);
    }
  } else if (email.attempts >= kMaxAttempts) {
    giveUp(sequence, email, attemptsSpent(), pass);
  } else if (KeptEmail::bootSeconds() - email.firstAttemptBoot >= kMaxAgeSeconds) {
    giveUp(sequence, email, "first attempt more than " + std::to_string(kMaxAgeSeconds) + " s ago", pass);
  } else if (pass.noAnswer || pass.held.count(email.configurationId) != 0) {
    ++pass.remaining;
  } else {
    send(sequence, email, pass);
  }
}

void OutboxRetry::send(std::string const& sequence, KeptEmail& email, Pass& pass) const {
  MailOutcome const outcome = MailCommand(store.composed(sequence, email)).run();
  ++email.attempts;
  if (outcome.handedOver) {
    remove(sequence, email.configurationName, pass);
    OutboxLog::delivered(email.configurationName, email.attempts, email.firstAttempt);
    return;
  }
  pass.held.insert(email.configurationId);
  pass.noAnswer = outcome.deadlineEnded;
  email.lastReason = OutboxLog::printable(outcome.reason, OutboxLog::kReasonBytes);
  // The outbox first, then the card's log: an exception of the log must not lose the attempt.
  bool const last = email.attempts >= kMaxAttempts;
  if (!last) {
    store.update(sequence, email);
    ++pass.remaining;
  }
  bool const removed = last && remove(sequence, email.configurationName, pass);
  OutboxLog::notSentAgain(email.configurationName, email.attempts, email.lastReason);
  if (removed) {
    OutboxLog::givenUp(email.configurationName, email.attempts, attemptsSpent());
  }
}

void OutboxRetry::giveUp(std::string const& sequence, KeptEmail const& email, std::string const& why,
                         Pass& pass) const {
  if (remove(sequence, email.configurationName, pass)) {
    OutboxLog::givenUp(email.configurationName, email.attempts, why);
  }
}

bool OutboxRetry::remove(std::string const& sequence, std::string const& name, Pass& pass) const {
  if (store.remove(sequence)) {
    return true;
  }
  pass.stuck = true;
  ++pass.remaining;
  OutboxLog::dropped(name, "not removed from the outbox",
                     "cannot remove " + store.directory() + "/" + sequence + "; the retries stop until it can be");
  return false;
}

}  // namespace emailservice
