// What the build does around the sending of the library's e-mails, at the two moments where an
// outbox acts: before a call's event (a Call begins), and after each sending. One header, two
// implementations, and the build compiles one (src/CMakeLists.txt): NoOutbox.cpp in the default
// build, which does nothing, and OutboxSeam.cpp with the outbox's sources in outbox builds.
#pragma once

#include "email/ComposedEmail.h"
#include "email/MailCommand.h"

namespace emailservice {

class OutboxSeam final {
 public:
  OutboxSeam() = delete;

  // One call of manageEmails on this thread, from before its event to its end. Its beginning sends
  // again the e-mails that failed before. A call that does not hold the call lock (`callLocked`)
  // may mix its work files with another call's: it neither sends nor changes the outbox, and says
  // so once. Never raises, and never changes the call's result.
  class Call final {
   public:
    explicit Call(bool callLocked);
    ~Call();
    Call(Call const&) = delete;
    Call& operator=(Call const&) = delete;
  };

  // After the mail command ran for `email` in the call on this thread: a failure is logged with
  // its reason and the e-mail kept for a later attempt. Never raises, and never changes the
  // call's result.
  static void afterSending(ComposedEmail const& email, MailOutcome const& outcome);
};

}  // namespace emailservice
