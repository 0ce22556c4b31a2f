#include "dispatch/CallLock.h"

namespace emailservice {

// A call that cannot lock still runs, as the contract has it run; held() tells the outbox.
CallLock::CallLock() : locked(file.lock(path())) {}

}  // namespace emailservice
