#include "logfiles/ReplacementFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace emailservice {

ReplacementFile::ReplacementFile(std::string path)
    : finalPath(std::move(path)),
      temporaryPath(finalPath + ".part"),
      fd(::open(temporaryPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {}

ReplacementFile::~ReplacementFile() { abandon(); }

bool ReplacementFile::write(char const* data, std::size_t size) {
  while (!failed && size > 0) {
    ssize_t const written = ::write(fd, data, size);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      failed = true;
      break;
    }
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return !failed;
}

bool ReplacementFile::commit() {
  if (!isOpen() || failed) {
    abandon();
    return false;
  }
  int const closed = ::close(fd);
  fd = -1;
  if (closed != 0 || std::rename(temporaryPath.c_str(), finalPath.c_str()) != 0) {
    std::remove(temporaryPath.c_str());
    return false;
  }
  return true;
}

void ReplacementFile::abandon() {
  if (fd >= 0) {
    ::close(fd);
    fd = -1;
    std::remove(temporaryPath.c_str());
  }
}

}  // namespace emailservice
