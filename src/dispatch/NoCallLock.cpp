// The default build's call lock: none. The library's contract takes no lock; its caller makes one
// call at a time.
#include "dispatch/CallLock.h"

namespace emailservice {

CallLock::CallLock() = default;

}  // namespace emailservice
