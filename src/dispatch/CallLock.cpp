// Compiled into the library only when calls are serialized, so that the default library is
// exactly what it was without the option.
#ifdef EMAILSERVICE_SERIALIZE_CALLS

#include "dispatch/CallLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "CardPaths.h"

namespace emailservice {

std::string CallLock::path() { return std::string(paths::kWorkDirectory) + "manageEmails.lock"; }

// Close-on-exec, so that no mail command inherits the lock and holds it after the call. A link in
// the lock file's place is not followed.
CallLock::CallLock() : fd(::open(path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
  if (fd >= 0) {
    while (::flock(fd, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
}

// Closing the only descriptor of the open file releases the lock.
CallLock::~CallLock() {
  if (fd >= 0) {
    ::close(fd);
  }
}

}  // namespace emailservice

#endif
