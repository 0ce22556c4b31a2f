// One run of the simulator at a time on the same card paths: laying out the card's files, the
// call and the account of what was sent all use fixed paths.
#pragma once

#include <string>

#include "LockFile.h"

namespace simulator {

// An advisory lock (flock) on "simulator.lock" in the card's work directory, held until the
// object ends. A file of its own, never the library's lock file: flock locks belong to the open
// file, so a run that locked the library's file would wait for itself in a library built with
// serialized calls.
class RunLock final {
 public:
  // Creates the work directory when missing, then waits until no other run holds the lock. False
  // with `error` set when the lock file cannot be used.
  bool acquire(std::string& error);

 private:
  emailservice::LockFile file;
};

}  // namespace simulator
