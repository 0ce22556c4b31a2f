#include "dispatch/CallLock.h"

namespace emailservice {

// A call that cannot lock still runs: the work directory it would lock in is unusable for its
// files too, and the contract's result is what the caller expects of it.
CallLock::CallLock() { static_cast<void>(file.lock(path())); }

}  // namespace emailservice
