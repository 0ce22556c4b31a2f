// The default build's outbox seam: every e-mail is sent at once, nothing is kept, and a failed
// e-mail is reported only by the call's result, as the library's contract has it.
#include "outbox/OutboxSeam.h"

namespace emailservice {

OutboxSeam::Call::Call(bool /*callLocked*/) {}

// Not defaulted: the outbox builds' call ends something, and the class is the same in every build.
OutboxSeam::Call::~Call() {}

OutboxSeam::Decision OutboxSeam::beforeSending(std::string const& /*configurationId*/,
                                               std::string const& /*configurationName*/, EmailEvent const& /*event*/) {
  return Decision::Send;
}

void OutboxSeam::afterSending(ComposedEmail const& /*email*/, MailOutcome const& /*outcome*/, Decision /*decision*/,
                              EmailEvent const& /*event*/) {}

}  // namespace emailservice
