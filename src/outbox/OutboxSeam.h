// What the build does around the sending of the library's e-mails, at the two moments where an
// outbox acts: before a call's event, and after each sending. One header, two implementations,
// and the build compiles one (src/CMakeLists.txt): NoOutbox.cpp in the default build, which does
// nothing, and OutboxSeam.cpp with the outbox's sources in outbox builds.
#pragma once

#include "email/ComposedEmail.h"
#include "email/MailCommand.h"

namespace emailservice {

class OutboxSeam final {
 public:
  OutboxSeam() = delete;

  // Before a call's event is dispatched: the e-mails that failed before are sent again first.
  // Never raises, and never changes the call's result.
  static void beforeEvent();
  // After the mail command ran for `email`: a failure is logged with its reason and the e-mail
  // kept for a later attempt. Never raises, and never changes the call's result.
  static void afterSending(ComposedEmail const& email, MailOutcome const& outcome);
};

}  // namespace emailservice
