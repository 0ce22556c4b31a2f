#include "logfiles/LogCopyFile.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <utility>

namespace emailservice {

namespace {

// The most one kernel call is asked to copy; the kernel copies at most about 2 GiB per call anyway.
constexpr std::size_t kKernelChunk = std::size_t{1} << 30;

}  // namespace

LogCopyFile::LogCopyFile(std::string filePath)
    : path(std::move(filePath)), fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {}

// A close can report a write that failed late (for instance on a full disk); that copy is cut off
// as surely as one whose write failed.
LogCopyFile::~LogCopyFile() {
  if (!fd.isOpen()) {
    return;
  }
  bool const closed = ::close(fd.release()) == 0;
  if (failed || !closed) {
    ::unlink(path.c_str());
  }
}

bool LogCopyFile::write(char const* data, std::size_t size) {
  while (!failed && size > 0) {
    ssize_t const written = retryOnInterrupt([&] { return ::write(fd.get(), data, size); });
    if (written <= 0) {
      failed = true;
      break;
    }
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return !failed;
}

// copy_file_range needs Linux 4.5, and refuses (EXDEV) between two file systems before 5.3 and,
// from 5.19, unless both are of one type that supports it (not tmpfs): the card's /flash and /tmp.
// sendfile then copies from any regular file to any file from Linux 2.6.33 on (to sockets only
// before; EINVAL). Any refusal (ENOSYS, EXDEV, EINVAL, EOPNOTSUPP...) or error of one moves on to
// the next, the last being the caller's read and write; so does the end, which the caller's read
// confirms (some files that look regular, under /proc, report an end before their bytes).
//
// The kernel copies only where the source's and the copy's positions are the same distance from a
// page boundary, so that it moves whole pages. Otherwise every page of the source lands on two of
// the copy, which costs more than the caller's reading and writing (about a third more CPU on the
// development machine; aligned, both cost the same), and the caller reads and writes.
void LogCopyFile::copyFrom(int source, off_t& offset) {
  if ((offset - ::lseek(fd.get(), 0, SEEK_CUR)) % ::sysconf(_SC_PAGESIZE) != 0) {
    return;
  }
  // copy_file_range while it copies, then after a refusal sendfile while it copies; an interrupted
  // call is made again.
  bool sending = false;
  auto const call = [&]() -> ssize_t {
    return sending ? ::sendfile(fd.get(), source, &offset, kKernelChunk)
                   : ::copy_file_range(source, &offset, fd.get(), nullptr, kKernelChunk, 0);
  };
  for (;;) {
    ssize_t const copied = retryOnInterrupt(call);
    if (copied == 0 || (copied < 0 && sending)) {
      return;
    }
    sending = sending || copied < 0;
  }
}

}  // namespace emailservice
