#include "outbox/OutboxRetry.h"

#include <cstring>
#include <string>

#include "BuildSettings.h"
#include "email/MailCommand.h"
#include "outbox/OutboxLog.h"

namespace emailservice {

namespace {

constexpr std::int64_t kMaxAgeSeconds = settings::kOutboxMaxAgeSeconds;
constexpr std::int32_t kMaxAttempts = settings::kOutboxMaxAttempts;

// Why an e-mail tried the most times allowed is given up.
std::string attemptsSpent() { return "at most " + std::to_string(kMaxAttempts) + " attempts"; }

}  // namespace

OutboxRetry::OutboxRetry(OutboxStore& outbox) : store(outbox) {}

bool OutboxRetry::run() const {
  store.removeLeftovers();
  Pass pass;
  for (auto const& sequence : store.list()) {
    take(sequence, pass);
  }
  return pass.remaining == 0;
}

void OutboxRetry::take(std::string const& sequence, Pass& pass) const {
  // A stuck pass leaves every later e-mail kept for the next pass, unread.
  if (pass.stuck) {
    ++pass.remaining;
    return;
  }
  KeptEmail email;
  ComposedEmail composed;
  std::string why;
  OutboxFiles& files = store.files();
  if (!store.read(sequence, email, why)) {
    if (remove(sequence, "", pass)) {
      OutboxLog::unreadableDropped(sequence, why);
    }
  } else if (!store.composed(sequence, email, composed, why)) {
    if (remove(sequence, email.configurationName, pass)) {
      OutboxLog::dropped(email.configurationName, "dropped from the outbox", why);
    }
  } else if (email.attempts >= kMaxAttempts) {
    giveUp(sequence, email, attemptsSpent(), pass);
  } else if (email.ageAt(files.bootId(), files.bootSeconds()) >= kMaxAgeSeconds) {
    giveUp(sequence, email, "first attempt more than " + std::to_string(kMaxAgeSeconds) + " s ago", pass);
  } else if (pass.noAnswer || pass.held.count(email.configurationId) != 0) {
    ++pass.remaining;
  } else {
    send(sequence, email, composed, pass);
  }
}

void OutboxRetry::send(std::string const& sequence, KeptEmail& email, ComposedEmail const& composed, Pass& pass) const {
  MailOutcome const outcome = MailCommand(composed).run();
  ++email.attempts;
  if (outcome.handedOver) {
    if (remove(sequence, email.configurationName, pass)) {
      OutboxLog::delivered(email.configurationName, email.attempts, email.firstAttempt);
    }
    return;
  }
  pass.held.insert(email.configurationId);
  pass.noAnswer = outcome.deadlineEnded;
  email.lastReason = OutboxLog::printable(outcome.reason, OutboxLog::kReasonBytes);
  countFailure(sequence, email, pass);
}

// The outbox first, then the card's log: an exception of the log must not lose the attempt.
void OutboxRetry::countFailure(std::string const& sequence, KeptEmail& email, Pass& pass) const {
  OutboxFiles& files = store.files();
  email.countAgeTo(files.bootId(), files.bootSeconds());
  int const failed = email.attempts >= kMaxAttempts ? 0 : store.update(sequence, email);
  if (email.attempts < kMaxAttempts && failed == 0) {
    ++pass.remaining;
    OutboxLog::notSentAgain(email.configurationName, email.attempts, email.lastReason);
    return;
  }
  bool const removed = remove(sequence, email.configurationName, pass);
  OutboxLog::notSentAgain(email.configurationName, email.attempts, email.lastReason);
  if (removed) {
    OutboxLog::givenUp(
        email.configurationName, email.attempts,
        failed == 0 ? attemptsSpent() : std::string("the attempt cannot be counted: ") + std::strerror(failed));
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
