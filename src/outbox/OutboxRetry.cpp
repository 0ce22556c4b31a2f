#include "outbox/OutboxRetry.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "email/MailCommand.h"
#include "outbox/HoldRule.h"
#include "outbox/OutboxLog.h"

namespace emailservice {

namespace {

constexpr std::int64_t kMaxAgeSeconds = settings::kOutboxMaxAgeSeconds;
constexpr std::int32_t kMaxAttempts = settings::kOutboxMaxAttempts;
constexpr std::int64_t kLongestWait = 3600;

// Why an e-mail tried the most times allowed is given up.
std::string attemptsSpent() { return "at most " + std::to_string(kMaxAttempts) + " attempts"; }

// The wait after failed attempt `attempts`: `first`, doubled after each attempt, at most an hour.
std::int64_t waitAfter(std::int32_t attempts, std::int64_t first) {
  std::int64_t wait = first;
  for (std::int32_t attempt = 1; attempt < attempts && wait < kLongestWait; ++attempt) {
    wait *= 2;
  }
  return std::min(wait, kLongestWait);
}

}  // namespace

OutboxRetry::OutboxRetry(OutboxStore& outbox, Trigger by, std::int64_t firstWait)
    : store(outbox), trigger(by), retrySeconds(firstWait) {}

bool OutboxRetry::run() const {
  OutboxLog::retriesBegan();
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
    return;
  }
  std::int64_t const age = email.ageAt(files.bootId(), files.bootSeconds());
  if (!store.composed(sequence, email, composed, why)) {
    if (remove(sequence, email.configurationName, pass)) {
      OutboxLog::dropped(email.configurationName, "dropped from the outbox", why);
    }
  } else if (email.attempts >= kMaxAttempts) {
    giveUp(sequence, email, attemptsSpent(), pass);
  } else if (age >= kMaxAgeSeconds) {
    giveUp(sequence, email, "kept more than " + std::to_string(kMaxAgeSeconds) + " s ago", pass);
  } else if (waits(email, age, pass)) {
    ++pass.remaining;
    if (email.held) {
      pass.holding.emplace_back(email.configurationId, email.alarmCode);
    } else {
      pass.waiting.insert(email.configurationId);
    }
  } else {
    send(sequence, email, composed, age, pass);
  }
}

bool OutboxRetry::waits(KeptEmail const& email, std::int64_t age, Pass const& pass) const {
  bool const timed = email.held || (trigger == Trigger::Timer && email.attempts > 0);
  bool const heldAhead = std::any_of(pass.holding.begin(), pass.holding.end(), [&email](auto const& held) {
    return held.first == email.configurationId && !email.alarmCode.empty() &&
           HoldRule::sameAlarm(held.second, email.alarmCode);
  });
  return pass.noAnswer || pass.waiting.count(email.configurationId) != 0 || heldAhead || (timed && age < email.due);
}

void OutboxRetry::send(std::string const& sequence, KeptEmail& email, ComposedEmail const& composed, std::int64_t age,
                       Pass& pass) const {
  MailOutcome const outcome = MailCommand(composed).run();
  bool const held = email.held;
  ++email.attempts;
  email.held = false;
  if (outcome.handedOver) {
    if (remove(sequence, email.configurationName, pass)) {
      if (held) {
        OutboxLog::heldSent(email.configurationName, email.alarmCode, age);
      } else {
        OutboxLog::delivered(email.configurationName, email.attempts, email.firstAttempt);
      }
    }
    return;
  }
  pass.waiting.insert(email.configurationId);
  pass.noAnswer = outcome.deadlineEnded;
  email.lastReason = OutboxLog::printable(outcome.reason(), OutboxLog::kReasonBytes);
  email.due = age + waitAfter(email.attempts, retrySeconds);
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
  OutboxLog::notRemoved(sequence, name,
                        "cannot remove " + store.directory() + "/" + sequence + "; the retries stop until it can be");
  return false;
}

}  // namespace emailservice
