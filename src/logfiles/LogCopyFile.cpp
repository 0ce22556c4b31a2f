#include "logfiles/LogCopyFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace emailservice {

LogCopyFile::LogCopyFile(std::string filePath)
    : path(std::move(filePath)), fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {}

// A close can report a write that failed late (for instance on a full disk); that copy is cut off
// as surely as one whose write failed.
LogCopyFile::~LogCopyFile() {
  if (fd < 0) {
    return;
  }
  bool const closed = ::close(fd) == 0;
  if (failed || !closed) {
    ::unlink(path.c_str());
  }
}

bool LogCopyFile::write(char const* data, std::size_t size) {
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

}  // namespace emailservice
