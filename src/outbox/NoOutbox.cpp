// The default build's outbox seam: nothing is kept, and a failed e-mail is reported only by the
// call's result, as the library's contract has it.
#include "outbox/OutboxSeam.h"

namespace emailservice {

OutboxSeam::Call::Call(bool /*callLocked*/) {}

OutboxSeam::Call::~Call() = default;

void OutboxSeam::afterSending(ComposedEmail const& /*email*/, MailOutcome const& /*outcome*/) {}

}  // namespace emailservice
