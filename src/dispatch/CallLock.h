// One call of the library at a time, between processes and between threads: the work files and
// exports have fixed names in the work directory. Built only with EMAILSERVICE_SERIALIZE_CALLS.
#pragma once

#include <string>

#include "LockFile.h"

namespace emailservice {

// The lock file of the work directory, held from construction to destruction, on every way out of
// a call.
class CallLock final {
 public:
  // Waits until no other call holds the lock, then holds it. Without a usable lock file (the work
  // directory missing or unusable) the call goes on unlocked: it cannot write its files either.
  CallLock();
  CallLock(CallLock const&) = delete;
  CallLock& operator=(CallLock const&) = delete;

  // The lock file: "manageEmails.lock" in the work directory.
  static std::string path();

 private:
  LockFile file;
};

}  // namespace emailservice
