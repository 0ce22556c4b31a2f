#include "StandardStreams.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

namespace tools {

int StandardStreams::finish(char const* program, int status) {
  // The reason is the first failure's errno: the flush's, else the close's. A write that failed
  // before (a full buffer written out in the middle of the run) leaves only the stream's error flag.
  errno = 0;
  std::cout.flush();
  int reason = std::cout ? 0 : errno;
  bool failed = !std::cout || std::ferror(stdout) != 0;
  errno = 0;
  if (std::fclose(stdout) != 0) {
    failed = true;
    reason = reason != 0 ? reason : errno;
  }
  if (failed) {
    std::cerr << program << ": write error" << (reason != 0 ? std::string(": ") + std::strerror(reason) : "") << "\n";
    status = kExitWriteError;
  }
  std::cerr.flush();
  return !std::cerr || std::ferror(stderr) != 0 ? kExitWriteError : status;
}

}  // namespace tools
