#include "outbox/OutboxRetry.h"

#include <string>

#include "email/MailCommand.h"
#include "outbox/OutboxLog.h"

namespace emailservice {

namespace {

constexpr std::int64_t kMaxAgeSeconds = EMAILSERVICE_OUTBOX_MAX_AGE_SECONDS;
constexpr std::int32_t kMaxAttempts = EMAILSERVICE_OUTBOX_MAX_ATTEMPTS;

// Why an e-mail tried the most times allowed is given up.
std::string attemptsSpent() { return "at most " + std::to_string(kMaxAttempts) + " attempts"; }

}  // namespace

OutboxRetry::OutboxRetry(OutboxStore const& outbox) : store(outbox) {}

std::size_t OutboxRetry::run() const {
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
      OutboxLog::dropped("", "dropped from the outbox", "its record cannot be read");
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
  std::string attachments;
  for (auto const& name : email.attachments) {
    attachments += " " + store.attachmentPath(sequence, name);
  }
  MailCommand command(email.subject, attachments, email.recipients, store.bodyPath(sequence));
  bool const sent = command.run();
  ++email.attempts;
  if (sent) {
    remove(sequence, email.configurationName, pass);
    OutboxLog::delivered(email.configurationName, email.attempts, email.firstAttempt);
    return;
  }
  pass.held.insert(email.configurationId);
  pass.noAnswer = command.timedOut();
  email.lastReason = OutboxLog::printable(command.failure(), OutboxLog::kReasonBytes);
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
