// What the build does around the sending of the library's e-mails: before a call's event (a Call
// begins), before and after each sending. One header, two implementations, and the build
// compiles one (src/CMakeLists.txt): NoOutbox.cpp in the default build, which sends everything at
// once and keeps nothing, and OutboxSeam.cpp with the outbox's sources in outbox builds.
#pragma once

#include <string>

#include "email/ComposedEmail.h"
#include "email/MailCommand.h"
#include "emailservice/EmailEvent.h"

namespace emailservice {

class OutboxSeam final {
 public:
  OutboxSeam() = delete;

  // One call of manageEmails on this thread, from before its event to its end. Its beginning sends
  // again the e-mails that failed before, and those held that fell due. A call that does not hold
  // the call lock (`callLocked`) may mix its work files with another call's: it neither sends nor
  // changes the outbox, and says so once. Never raises, and never changes the call's result.
  class Call final {
   public:
    explicit Call(bool callLocked);
    ~Call();
    Call(Call const&) = delete;
    Call& operator=(Call const&) = delete;
  };

  // What becomes of a configuration's e-mail for an event, decided before it is composed.
  enum class Decision {
    Send,        // handed to the mail command now
    Hold,        // a UPS alarm that the build holds: kept, and sent once the hold has passed
    KeepBehind,  // kept behind an earlier e-mail of its configuration that was not sent yet
    Dropped,     // nothing is mailed: a cleared alarm whose held e-mail is dropped with it, or an
                 // alarm reported active again while its first e-mail is held
  };
  // In the call on this thread. A call without the call lock keeps nothing, but still drops a held
  // e-mail with its cleared alarm, so that the cleared one never comes first. Never raises.
  static Decision beforeSending(std::string const& configurationId, std::string const& configurationName,
                                EmailEvent const& event);
  // After `email` was composed and, when `decision` was Send, handed to the mail command: a
  // failure is logged with its reason and the e-mail kept for a later attempt; a held or kept
  // one is kept. Never raises, and never changes the call's result.
  static void afterSending(ComposedEmail const& email, MailOutcome const& outcome, Decision decision,
                           EmailEvent const& event);
};

}  // namespace emailservice
