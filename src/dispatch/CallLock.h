// One call of the library at a time, between processes and between threads, where the build
// serializes calls: the work files and exports have fixed names in the work directory. One header,
// two sources, and the build compiles one (src/CMakeLists.txt): NoCallLock.cpp in the default
// build, which takes no lock, and CallLock.cpp in the builds that serialize calls.
#pragma once

#include <string>

#include "CardPaths.h"
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

  // Whether the lock is held: false where the build takes none, or where it could not be taken.
  bool held() const { return locked; }

  // The lock file: "manageEmails.lock" in the work directory.
  static std::string path() { return std::string(paths::kWorkDirectory) + "manageEmails.lock"; }

 private:
  LockFile file;
  bool locked = false;
};

}  // namespace emailservice
