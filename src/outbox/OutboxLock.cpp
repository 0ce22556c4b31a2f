#include "outbox/OutboxLock.h"

#include <fcntl.h>
#include <sys/file.h>

namespace emailservice {

bool OutboxLock::lock(std::string const& directory) {
  held.reset(retryOnInterrupt(
      [&directory] { return ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }));
  if (!held.isOpen()) {
    return false;
  }
  int const fd = held.get();
  if (retryOnInterrupt([fd] { return ::flock(fd, LOCK_EX); }) != 0) {
    int const cause = errno;
    held.close();
    errno = cause;
    return false;
  }
  return true;
}

}  // namespace emailservice
