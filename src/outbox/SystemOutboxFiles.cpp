// The outbox's storage calls on a POSIX system: descriptors of directories, *at calls that never
// follow a link, O_NONBLOCK before any file is trusted to be a regular one.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "FileDescriptor.h"
#include "outbox/OutboxFiles.h"

namespace emailservice {

namespace {

constexpr int kOpenDirectory = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int kOpenFile = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr char const kBootIdFile[] = "/proc/sys/kernel/random/boot_id";

// 0, or the errno of a call that answered -1.
int resultOf(long answer) { return answer < 0 ? errno : 0; }

OutboxFiles::Type typeOf(mode_t mode) {
  if (S_ISREG(mode)) {
    return OutboxFiles::Type::Regular;
  }
  if (S_ISDIR(mode)) {
    return OutboxFiles::Type::Directory;
  }
  return S_ISLNK(mode) ? OutboxFiles::Type::Link : OutboxFiles::Type::Other;
}

OutboxFiles::Status statusOf(struct stat const& found) {
  OutboxFiles::Status status;
  status.type = typeOf(found.st_mode);
  status.owner = found.st_uid;
  status.mode = found.st_mode & 07777U;
  status.size = static_cast<std::uint64_t>(found.st_size);
  status.blocks = static_cast<std::uint64_t>(found.st_blocks) * 512U;
  status.blockSize = static_cast<std::uint64_t>(found.st_blksize);
  status.device = static_cast<std::uint64_t>(found.st_dev);
  status.inode = static_cast<std::uint64_t>(found.st_ino);
  return status;
}

// A descriptor opened for reading that names a regular file; else closed, with EINVAL.
int regularOnly(int opened, int& handle) {
  FileDescriptor file(opened);
  if (!file.isOpen()) {
    return errno;
  }
  struct stat found {};
  if (::fstat(file.get(), &found) != 0) {
    return errno;
  }
  if (!S_ISREG(found.st_mode)) {
    return EINVAL;
  }
  handle = file.release();
  return 0;
}

// The directory part of `path`: "." for a bare name, "/" for a name at the root.
std::string parentOf(std::string const& path) {
  auto const slash = path.find_last_of('/');
  if (slash == std::string::npos) {
    return ".";
  }
  return slash == 0 ? "/" : path.substr(0, slash);
}

class SystemOutboxFiles final : public OutboxFiles {
 public:
  int openDirectory(std::string const& path, int& handle) override {
    int const fd = retryOnInterrupt([&] { return ::open(path.c_str(), kOpenDirectory); });
    handle = fd;
    return resultOf(fd);
  }

  int makeDirectory(std::string const& path) override {
    if (::mkdir(path.c_str(), kDirectoryMode) != 0) {
      return errno;
    }
    int handle = -1;
    if (int const failed = openDirectory(path, handle)) {
      return failed;
    }
    FileDescriptor const created(handle);
    FileDescriptor const parent(retryOnInterrupt([&] { return ::open(parentOf(path).c_str(), kOpenDirectory); }));
    if (::fchmod(created.get(), kDirectoryMode) != 0 || !parent.isOpen()) {
      return errno;
    }
    return resultOf(::fsync(parent.get()));
  }

  int openDirectoryAt(int directory, std::string const& name, int& handle) override {
    int const fd = retryOnInterrupt([&] { return ::openat(directory, name.c_str(), kOpenDirectory); });
    handle = fd;
    return resultOf(fd);
  }

  int makeDirectoryAt(int directory, std::string const& name) override {
    if (::mkdirat(directory, name.c_str(), kDirectoryMode) != 0) {
      return errno;
    }
    FileDescriptor const created(retryOnInterrupt([&] { return ::openat(directory, name.c_str(), kOpenDirectory); }));
    return created.isOpen() ? resultOf(::fchmod(created.get(), kDirectoryMode)) : errno;
  }

  // fdopendir takes the descriptor it is given: it reads a descriptor of its own.
  int list(int directory, std::vector<std::string>& names) override {
    names.clear();
    int const own = retryOnInterrupt([&] { return ::openat(directory, ".", kOpenDirectory); });
    if (own < 0) {
      return errno;
    }
    DIR* const listing = ::fdopendir(own);
    if (listing == nullptr) {
      int const cause = errno;
      ::close(own);
      return cause;
    }
    errno = 0;
    while (dirent const* entry = ::readdir(listing)) {
      std::string const name = entry->d_name;
      if (name != "." && name != "..") {
        names.push_back(name);
      }
    }
    int const cause = errno;
    ::closedir(listing);
    return cause;
  }

  int statAt(int directory, std::string const& name, Status& status) override {
    struct stat found {};
    if (::fstatat(directory, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
      return errno;
    }
    status = statusOf(found);
    return 0;
  }

  int stat(int handle, Status& status) override {
    struct stat found {};
    if (::fstat(handle, &found) != 0) {
      return errno;
    }
    status = statusOf(found);
    return 0;
  }

  int openFile(std::string const& path, int& handle) override {
    return regularOnly(retryOnInterrupt([&] { return ::open(path.c_str(), kOpenFile); }), handle);
  }

  int openFileAt(int directory, std::string const& name, int& handle) override {
    return regularOnly(retryOnInterrupt([&] { return ::openat(directory, name.c_str(), kOpenFile); }), handle);
  }

  int read(int handle, char* buffer, std::size_t size, std::size_t& got) override {
    ssize_t const answer = retryOnInterrupt([&] { return ::read(handle, buffer, size); });
    got = answer > 0 ? static_cast<std::size_t>(answer) : 0;
    return resultOf(answer);
  }

  int createFileAt(int directory, std::string const& name, int& handle) override {
    FileDescriptor file(retryOnInterrupt([&] {
      return ::openat(directory, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode);
    }));
    if (!file.isOpen() || ::fchmod(file.get(), kFileMode) != 0) {
      return errno;
    }
    handle = file.release();
    return 0;
  }

  // A write that writes nothing without a reason of its own counts as a full device.
  int write(int handle, char const* data, std::size_t size) override {
    while (size > 0) {
      ssize_t const written = retryOnInterrupt([&] { return ::write(handle, data, size); });
      if (written <= 0) {
        return written == 0 ? ENOSPC : errno;
      }
      data += written;
      size -= static_cast<std::size_t>(written);
    }
    return 0;
  }

  int sync(int handle) override { return resultOf(::fsync(handle)); }

  // Not retried on EINTR: Linux releases the descriptor even then.
  void close(int handle) override { ::close(handle); }

  int renameAt(int fromDirectory, std::string const& from, int toDirectory, std::string const& to) override {
    return resultOf(::renameat(fromDirectory, from.c_str(), toDirectory, to.c_str()));
  }

  int removeAt(int directory, std::string const& name, bool isDirectory) override {
    return resultOf(::unlinkat(directory, name.c_str(), isDirectory ? AT_REMOVEDIR : 0));
  }

  int lock(int directory) override {
    return resultOf(retryOnInterrupt([directory] { return ::flock(directory, LOCK_EX); }));
  }

  std::uint32_t user() override { return ::geteuid(); }

  std::int64_t wallSeconds() override { return std::time(nullptr); }

  std::int64_t bootSeconds() override {
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec;
  }

  // The kernel's random identity of this boot: 36 characters and a line feed.
  std::string bootId() override {
    FileDescriptor const file(retryOnInterrupt([] { return ::open(kBootIdFile, O_RDONLY | O_CLOEXEC); }));
    char text[64] = {};
    ssize_t const got = file.isOpen() ? ::read(file.get(), text, sizeof text - 1) : -1;
    std::string id = got > 0 ? std::string(text, static_cast<std::size_t>(got)) : "";
    while (!id.empty() && (id.back() == '\n' || id.back() == ' ')) {
      id.pop_back();
    }
    return id;
  }
};

OutboxFiles* inUse = nullptr;

}  // namespace

OutboxFiles& OutboxFiles::posix() {
  static SystemOutboxFiles files;
  return files;
}

OutboxFiles& OutboxFiles::system() { return inUse != nullptr ? *inUse : posix(); }

void OutboxFiles::use(OutboxFiles* files) { inUse = files; }

}  // namespace emailservice
