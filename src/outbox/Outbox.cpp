#include "emailservice/Outbox.h"

#include <exception>

#include "outbox/OutboxRetry.h"
#include "outbox/OutboxStore.h"

namespace emailservice {

ErrorCode Outbox::retry() {
  // An exception (the card's log) ends the retry; what stays kept is then unknown: SendError.
  try {
    OutboxStore const store;
    return OutboxRetry(store).run() == 0 ? ErrorCode::Success : ErrorCode::SendError;
  } catch (std::exception const&) {
    return ErrorCode::SendError;
  }
}

std::vector<Outbox::Entry> Outbox::list() {
  OutboxStore const store;
  std::vector<Entry> kept;
  for (auto const& sequence : store.list()) {
    KeptEmail email;
    if (store.read(sequence, email)) {
      kept.push_back(Entry{email.configurationId, email.configurationName, email.subject, email.recipients,
                           email.firstAttempt, email.attempts, email.lastReason});
    }
  }
  return kept;
}

}  // namespace emailservice
