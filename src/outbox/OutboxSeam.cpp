// The outbox builds' seam: failed e-mails are kept and sent again, and the reason of every failed
// sending is logged.
#include "outbox/OutboxSeam.h"

#include <exception>

#include "outbox/OutboxLog.h"
#include "outbox/OutboxRetry.h"
#include "outbox/OutboxStore.h"

namespace emailservice {

// An exception of the card's log ends only the retry: the call's own event still goes out.
void OutboxSeam::beforeEvent() {
  try {
    OutboxStore const store;
    OutboxRetry(store).run();
  } catch (std::exception const&) {
  }
}

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
  try {
    OutboxStore().keep(email, outcome.reason);
  } catch (std::exception const&) {
  }
}

}  // namespace emailservice
