#include "emailservice/Outbox.h"

#include <algorithm>
#include <exception>

#include "outbox/OutboxLog.h"
#include "outbox/OutboxRetry.h"
#include "outbox/OutboxStore.h"

namespace emailservice {

ErrorCode Outbox::retry() {
  // An exception (the card's log) ends the retry; what stays kept is then unknown: SendError.
  try {
    OutboxStore store;
    std::string why;
    if (!store.open(OutboxStore::Use::Change, why)) {
      if (!why.empty()) {
        OutboxLog::notRetried(why);
      }
      return why.empty() ? ErrorCode::Success : ErrorCode::SendError;
    }
    return OutboxRetry(store, OutboxRetry::Trigger::Timer).run() ? ErrorCode::Success : ErrorCode::SendError;
  } catch (std::exception const&) {
    return ErrorCode::SendError;
  }
}

std::vector<Outbox::Entry> Outbox::list() {
  OutboxStore store;
  std::string why;
  std::vector<Entry> kept;
  if (!store.open(OutboxStore::Use::Read, why)) {
    return kept;
  }
  OutboxFiles& files = store.files();
  std::int64_t const now = files.wallSeconds();
  for (auto const& sequence : store.list()) {
    KeptEmail email;
    if (store.read(sequence, email, why)) {
      std::int64_t const wait = email.due - email.ageAt(files.bootId(), files.bootSeconds());
      kept.push_back(Entry{email.configurationId, email.configurationName, email.subject, email.recipients,
                           email.firstAttempt, email.attempts, email.lastReason, email.held,
                           now + std::max<std::int64_t>(wait, 0)});
    }
  }
  return kept;
}

}  // namespace emailservice
