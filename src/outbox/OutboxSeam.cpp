// The outbox builds' seam: failed e-mails are kept and sent again, and the reason of every failed
// sending is logged.
#include "outbox/OutboxSeam.h"

#include <exception>

#include "outbox/OutboxLog.h"
#include "outbox/OutboxRetry.h"
#include "outbox/OutboxStore.h"

namespace emailservice {

namespace {

// Whether the call in progress on this thread may change the outbox: set while a Call lasts.
thread_local bool outboxUsable = false;

}  // namespace

// A missing outbox holds nothing; one that cannot be used is neither sent nor changed, and says so.
// An exception of the card's log ends only the retry: the call's own event still goes out.
OutboxSeam::Call::Call(bool callLocked) {
  outboxUsable = callLocked;
  try {
    if (!callLocked) {
      OutboxLog::notRetried("the call lock cannot be taken; no email is kept in this call");
      return;
    }
    OutboxStore store;
    std::string why;
    if (store.open(OutboxStore::Use::Change, why)) {
      OutboxRetry(store).run();
    } else if (!why.empty()) {
      OutboxLog::notRetried(why);
    }
  } catch (std::exception const&) {
  }
}

OutboxSeam::Call::~Call() { outboxUsable = false; }

// The e-mail is kept even when its entry cannot be written, and an exception of the outbox ends
// only its own step.
void OutboxSeam::afterSending(ComposedEmail const& email, MailOutcome const& outcome) {
  if (outcome.handedOver) {
    return;
  }
  try {
    OutboxLog::notSent(email.configurationName, outcome.reason);
  } catch (std::exception const&) {
  }
  if (!outboxUsable) {
    return;
  }
  try {
    OutboxStore store;
    std::string why;
    if (store.open(OutboxStore::Use::Create, why)) {
      store.keep(email, outcome.reason);
    } else {
      OutboxLog::dropped(email.configurationName, "not kept", why);
    }
  } catch (std::exception const&) {
  }
}

}  // namespace emailservice
