// An advisory lock on a file, shared by the library's serialized calls and the simulator's runs.
// Header-only, like FileDescriptor.h.
#pragma once

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <string>

#include "FileDescriptor.h"

namespace emailservice {

// An exclusive flock on a file, held from a successful lock() until the object ends: closing the
// only descriptor of the open file releases the lock on every way out. Each object opens the file
// itself, so that two objects of one process (two threads) exclude each other as two processes do.
class LockFile final {
 public:
  // Opens `path`, creating it for its owner alone, and waits until no other open file holds the
  // lock. Close-on-exec, so that no program started meanwhile inherits the lock and holds it after
  // the owner has ended; a link in the file's place is not followed. False, with errno set, when
  // the file cannot be opened or locked.
  bool lock(std::string const& path) {
    file.reset(
        retryOnInterrupt([&path] { return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600); }));
    if (!file.isOpen()) {
      return false;
    }
    int const fd = file.get();
    if (retryOnInterrupt([fd] { return ::flock(fd, LOCK_EX); }) != 0) {
      int const cause = errno;
      file.close();
      errno = cause;
      return false;
    }
    return true;
  }

 private:
  FileDescriptor file;
};

}  // namespace emailservice
