#include "RunLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "CardPaths.h"

namespace simulator {

RunLock::~RunLock() {
  if (fd >= 0) {
    ::close(fd);
  }
}

bool RunLock::acquire(std::string& error) {
  std::string const path = std::string(emailservice::paths::kWorkDirectory) + "simulator.lock";
  std::error_code failure;
  std::filesystem::create_directories(emailservice::paths::kWorkDirectory, failure);
  fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  int result = fd >= 0 ? ::flock(fd, LOCK_EX) : -1;
  while (result != 0 && fd >= 0 && errno == EINTR) {
    result = ::flock(fd, LOCK_EX);
  }
  if (result != 0) {
    error = "cannot lock " + path + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace simulator
