// The outbox builds' seam: failed e-mails are kept and sent again, the reason of every failed
// sending is logged, e-mails of held UPS alarms wait for the hold to pass, and the e-mails of a
// configuration go out in order.
#include "outbox/OutboxSeam.h"

#include <algorithm>
#include <exception>

#include "BuildSettings.h"
#include "outbox/HoldRule.h"
#include "outbox/OutboxLog.h"
#include "outbox/OutboxRetry.h"
#include "outbox/OutboxStore.h"

namespace emailservice {

namespace {

// Whether the call in progress on this thread may change the outbox: set while a Call lasts.
thread_local bool outboxUsable = false;

// What becomes of the e-mail of `configurationId` for `event`, as the outbox holds it: every held
// e-mail of the alarm that the event clears is dropped, and the cleared one with them (Dropped,
// one entry); an alarm reported active again while held is not kept twice; an e-mail tried and
// not sent yet keeps later ones behind. Where the call may keep nothing (`mayKeep`), only drops.
OutboxSeam::Decision decide(OutboxStore& store, std::string const& configurationId, std::string const& name,
                            EmailEvent const& event, bool mayKeep) {
  bool const clears = event.type == EventType::Ups && event.state == 0;
  bool const holds = mayKeep && HoldRule::holds(event);
  bool behind = false;
  std::string dropped;  // the code of the held alarm dropped, as it became active
  std::int64_t activeFor = 0;
  std::string why;
  OutboxFiles& files = store.files();
  for (auto const& sequence : store.list()) {
    KeptEmail email;
    if (!store.read(sequence, email, why) || email.configurationId != configurationId) {
      continue;
    }
    bool const sameAlarm = email.held && HoldRule::sameAlarm(email.alarmCode, event.code);
    if (sameAlarm && clears && store.remove(sequence)) {
      activeFor = std::max(activeFor, email.ageAt(files.bootId(), files.bootSeconds()));
      dropped = email.alarmCode;
    } else if (sameAlarm && holds) {
      return OutboxSeam::Decision::Dropped;
    } else {
      behind = behind || email.attempts > 0;
    }
  }
  if (!dropped.empty()) {
    OutboxLog::notEmailed(name, dropped, activeFor);
    return OutboxSeam::Decision::Dropped;
  }
  if (holds) {
    return OutboxSeam::Decision::Hold;
  }
  return behind && mayKeep ? OutboxSeam::Decision::KeepBehind : OutboxSeam::Decision::Send;
}

// Runs `step`; an exception (of the card's log, or of memory) ends only that step.
template <typename Step>
void quietly(Step const& step) {
  try {
    step();
  } catch (std::exception const&) {
  }
}

// Keeps an e-mail that was not sent; false when it could not be (the entries say why).
bool keep(ComposedEmail const& email, OutboxStore::Arrival const& arrival) {
  OutboxStore store;
  std::string why;
  if (!store.open(OutboxStore::Use::Create, why)) {
    OutboxLog::dropped(email.configurationName, "not kept", why);
    return false;
  }
  return store.keep(email, arrival);
}

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
      OutboxRetry(store, OutboxRetry::Trigger::Event).run();
    } else if (!why.empty()) {
      OutboxLog::notRetried(why);
    }
  } catch (std::exception const&) {
  }
}

OutboxSeam::Call::~Call() { outboxUsable = false; }

// Tests and periodic reports go at once: the administrator asks for them now, and no alarm's order
// depends on them.
OutboxSeam::Decision OutboxSeam::beforeSending(std::string const& configurationId, std::string const& name,
                                               EmailEvent const& event) {
  if (event.type == EventType::Test || event.type == EventType::Periodic) {
    return Decision::Send;
  }
  try {
    OutboxStore store;
    std::string why;
    if (store.open(OutboxStore::Use::Change, why)) {
      return decide(store, configurationId, name, event, outboxUsable);
    }
    return outboxUsable && HoldRule::holds(event) ? Decision::Hold : Decision::Send;
  } catch (std::exception const&) {
    return Decision::Send;
  }
}

// The e-mail is kept even when its entry cannot be written; an e-mail meant to be kept that cannot
// be is sent at once rather than lost.
void OutboxSeam::afterSending(ComposedEmail const& email, MailOutcome const& outcome, Decision decision,
                              EmailEvent const& event) {
  if (decision == Decision::Send && outcome.handedOver) {
    return;
  }
  OutboxStore::Arrival arrival;
  arrival.alarmCode = event.type == EventType::Ups ? event.code : "";
  if (decision == Decision::Send) {
    quietly([&] { OutboxLog::notSent(email.configurationName, outcome.reason()); });
    arrival.reason = outcome.reason();
    arrival.due = settings::kOutboxRetrySeconds;
    if (outboxUsable) {
      quietly([&] { keep(email, arrival); });
    }
    return;
  }
  arrival.tried = false;
  arrival.held = decision == Decision::Hold;
  arrival.due = arrival.held ? settings::kHoldSeconds : 0;
  arrival.reason = arrival.held ? "held" : "kept behind an earlier email of its configuration";
  bool kept = false;
  quietly([&] { kept = keep(email, arrival); });
  if (kept) {
    quietly([&] {
      arrival.held ? OutboxLog::held(email.configurationName, event.code, settings::kHoldSeconds)
                   : OutboxLog::keptBehind(email.configurationName);
    });
    return;
  }
  MailOutcome const sent = MailCommand(email).run();
  if (!sent.handedOver) {
    quietly([&] { OutboxLog::notSent(email.configurationName, sent.reason()); });
  }
}

}  // namespace emailservice
