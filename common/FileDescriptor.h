// A file descriptor with one owner, and the one retry of a system call that a signal interrupted.
// Header-only and free of the platform: the library, the simulated card and the tools compile it
// alike.
#pragma once

#include <unistd.h>

#include <cerrno>

namespace emailservice {

// Calls `call` again as long as it fails with EINTR (a signal arrived before it did anything) and
// gives its last result, with errno as that call left it.
template <typename Call>
auto retryOnInterrupt(Call&& call) -> decltype(call()) {
  auto result = call();
  while (result < 0 && errno == EINTR) {
    result = call();
  }
  return result;
}

// Owns one open descriptor (or none, -1) and closes it when it ends. Moving hands the descriptor
// on; copying is not possible, so that no descriptor is closed twice.
class FileDescriptor final {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : fd(descriptor) {}
  ~FileDescriptor() { close(); }
  FileDescriptor(FileDescriptor const&) = delete;
  FileDescriptor& operator=(FileDescriptor const&) = delete;
  FileDescriptor(FileDescriptor&& other) noexcept : fd(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }

  int get() const { return fd; }
  bool isOpen() const { return fd >= 0; }

  // Gives the descriptor up without closing it.
  int release() {
    int const descriptor = fd;
    fd = -1;
    return descriptor;
  }

  // Closes the descriptor held, then holds `descriptor`.
  void reset(int descriptor = -1) {
    close();
    fd = descriptor;
  }

  // Not retried on EINTR: Linux releases the descriptor even then, and a second close could end
  // one that another thread has just opened under the same number.
  void close() {
    if (fd >= 0) {
      ::close(fd);
      fd = -1;
    }
  }

 private:
  int fd = -1;
};

}  // namespace emailservice
