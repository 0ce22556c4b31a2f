// One operation on the outbox at a time (keeping an e-mail, or a pass of sending again), between
// processes and threads: an exclusive flock on the outbox directory itself, held until the object
// ends. The outbox needs no other lock: what a call of the library does with its work files is
// the call lock's affair.
#pragma once

#include <string>

#include "FileDescriptor.h"

namespace emailservice {

class OutboxLock final {
 public:
  OutboxLock() = default;
  OutboxLock(OutboxLock const&) = delete;
  OutboxLock& operator=(OutboxLock const&) = delete;

  // Opens `directory` (never through a link in its place) and waits until no other operation
  // holds its lock. False, with errno set, when it cannot be opened as a directory or locked.
  bool lock(std::string const& directory);

 private:
  FileDescriptor held;
};

}  // namespace emailservice
