#include "outbox/DurableFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "FileDescriptor.h"

namespace emailservice {

namespace {

constexpr std::size_t kBlock = std::size_t{64} * 1024;

// Writes all of `data`, through interruptions and short writes. A write that writes nothing
// without a reason of its own counts as a full device.
bool writeAll(int fd, char const* data, std::size_t length) {
  while (length > 0) {
    ssize_t const written = retryOnInterrupt([&] { return ::write(fd, data, length); });
    if (written == 0) {
      errno = ENOSPC;
    }
    if (written <= 0) {
      return false;
    }
    data += written;
    length -= static_cast<std::size_t>(written);
  }
  return true;
}

// Kept files are opened by the mail command, which runs as another user (sudo -u email): they are
// readable by all, as the work files are; fchmod makes that so whatever the process's umask.
constexpr mode_t kFileMode = 0644;
// Kept directories can be passed through by all (to open a kept file by its path), not listed.
constexpr mode_t kDirectoryMode = 0711;

int createFile(std::string const& path) {
  int const fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kFileMode);
  if (fd >= 0 && ::fchmod(fd, kFileMode) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

}  // namespace

std::string DurableFiles::systemError(std::string const& what, std::string const& path) {
  return what + " " + path + ": " + std::strerror(errno);
}

bool DurableFiles::write(std::string const& path, std::string const& content, std::string& error) {
  FileDescriptor const file(createFile(path));
  if (file.get() < 0 || !writeAll(file.get(), content.data(), content.size()) || ::fsync(file.get()) != 0) {
    error = systemError("cannot write", path);
    return false;
  }
  return true;
}

bool DurableFiles::copy(std::string const& from, std::string const& to, std::uint64_t& bytes, std::string& error) {
  FileDescriptor const source(::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  if (source.get() < 0 || ::fstat(source.get(), &status) != 0) {
    error = systemError("cannot read", from);
    return false;
  }
  if (!S_ISREG(status.st_mode)) {
    error = "cannot read " + from + ": not a regular file";
    return false;
  }
  FileDescriptor const target(createFile(to));
  if (target.get() < 0) {
    error = systemError("cannot write", to);
    return false;
  }
  std::vector<char> block(kBlock);
  bytes = 0;
  for (;;) {
    ssize_t const got = retryOnInterrupt([&] { return ::read(source.get(), block.data(), block.size()); });
    if (got < 0) {
      error = systemError("cannot read", from);
      return false;
    }
    if (got == 0) {
      break;
    }
    if (!writeAll(target.get(), block.data(), static_cast<std::size_t>(got))) {
      error = systemError("cannot write", to);
      return false;
    }
    bytes += static_cast<std::uint64_t>(got);
  }
  if (::fsync(target.get()) != 0) {
    error = systemError("cannot write", to);
    return false;
  }
  return true;
}

bool DurableFiles::read(std::string const& path, std::uint64_t limit, std::string& content) {
  FileDescriptor const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  struct stat status {};
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
      static_cast<std::uint64_t>(status.st_size) > limit) {
    return false;
  }
  content.clear();
  std::vector<char> block(kBlock);
  for (;;) {
    ssize_t const got = retryOnInterrupt([&] { return ::read(file.get(), block.data(), block.size()); });
    if (got <= 0) {
      return got == 0;
    }
    content.append(block.data(), static_cast<std::size_t>(got));
  }
}

void DurableFiles::syncDirectory(std::string const& path) {
  FileDescriptor const directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory.get() >= 0) {
    ::fsync(directory.get());
  }
}

bool DurableFiles::makeDirectory(std::string const& path, std::string& error) {
  bool const made = ::mkdir(path.c_str(), kDirectoryMode) == 0;
  if (made || errno == EEXIST) {
    struct stat status {};
    // The mode whatever the umask; an outbox kept by an earlier build gets it too, if it can.
    if (::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
        (::chmod(path.c_str(), kDirectoryMode) == 0 || !made)) {
      return true;
    }
  }
  error = systemError("cannot create", path);
  return false;
}

std::vector<std::string> DurableFiles::names(std::string const& directory) {
  std::vector<std::string> found;
  DIR* const listing = ::opendir(directory.c_str());
  if (listing == nullptr) {
    return found;
  }
  while (dirent const* entry = ::readdir(listing)) {
    std::string const name = entry->d_name;
    if (name != "." && name != "..") {
      found.push_back(name);
    }
  }
  ::closedir(listing);
  std::sort(found.begin(), found.end());
  return found;
}

std::uint64_t DurableFiles::size(std::string const& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    return 0;
  }
  if (S_ISREG(status.st_mode)) {
    return static_cast<std::uint64_t>(status.st_size);
  }
  std::uint64_t total = 0;
  if (S_ISDIR(status.st_mode)) {
    std::string const prefix = path + "/";
    for (auto const& name : names(path)) {
      total += size(prefix + name);
    }
  }
  return total;
}

bool DurableFiles::exists(std::string const& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

void DurableFiles::removeTree(std::string const& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    return;
  }
  if (S_ISDIR(status.st_mode)) {
    std::string const prefix = path + "/";
    for (auto const& name : names(path)) {
      removeTree(prefix + name);
    }
    ::rmdir(path.c_str());
  } else {
    ::unlink(path.c_str());
  }
}

}  // namespace emailservice
