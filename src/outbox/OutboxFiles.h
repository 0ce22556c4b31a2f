// The storage and the clocks as the outbox uses them: every call that the outbox makes on its
// storage goes through this one narrow layer, so that a test can put a power cut, a full device or
// a crash after any of them (docs/outbox.md, "Durability"). Inside the outbox every call is
// relative to a directory handle and never passes a link; only the outbox root and the work files
// that are copied in are named by path.
//
// One implementation for the card and the host, system() (POSIX calls); the tests add stand-ins.
// Results are 0 or the errno value of the failure; no call raises an exception.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace emailservice {

class OutboxFiles {
 public:
  // What a name is, as lstat tells it: a link is a link, never what it points to.
  enum class Type { Regular, Directory, Link, Other };
  struct Status {
    Type type = Type::Other;
    std::uint32_t owner = 0;
    std::uint32_t mode = 0;       // permission bits
    std::uint64_t size = 0;       // bytes of content
    std::uint64_t blocks = 0;     // bytes of storage spent (512-byte blocks)
    std::uint64_t blockSize = 0;  // the storage's unit of allocation
    std::uint64_t device = 0;     // with inode: the identity of the file
    std::uint64_t inode = 0;
  };

  // Kept directories can be passed through by every user, for the mail command's user to open a
  // kept attachment by its path; kept files are readable by every user.
  static constexpr std::uint32_t kDirectoryMode = 0711;
  static constexpr std::uint32_t kFileMode = 0644;

  virtual ~OutboxFiles() = default;

  // The calls that the outbox makes: those of posix(), unless a test has put a stand-in in their
  // place for whole calls of the library (use; use(nullptr) takes it back).
  static OutboxFiles& system();
  static void use(OutboxFiles* files);
  // The calls of the card and of the host: POSIX, one object for the process.
  static OutboxFiles& posix();

  // Opens the directory `path` (its last component never followed); `handle` then refers to it.
  virtual int openDirectory(std::string const& path, int& handle) = 0;
  // Creates the directory `path` (mode kDirectoryMode whatever the umask) and syncs its parent, so
  // that the new directory outlives a power cut.
  virtual int makeDirectory(std::string const& path) = 0;
  virtual int openDirectoryAt(int directory, std::string const& name, int& handle) = 0;
  // Creates the directory `name` (mode kDirectoryMode whatever the umask); not synced.
  virtual int makeDirectoryAt(int directory, std::string const& name) = 0;
  // The names in the directory, without "." and "..", in no particular order.
  virtual int list(int directory, std::vector<std::string>& names) = 0;
  // The status of `name`, a link not followed.
  virtual int statAt(int directory, std::string const& name, Status& status) = 0;
  // The status of what `handle` refers to.
  virtual int stat(int handle, Status& status) = 0;

  // Opens a regular file for reading without waiting (a FIFO or a device in its place never makes
  // the caller wait) and without following a link; anything but a regular file is refused
  // (EINVAL). `path` is a work file outside the outbox.
  virtual int openFile(std::string const& path, int& handle) = 0;
  virtual int openFileAt(int directory, std::string const& name, int& handle) = 0;
  // Reads at most `size` bytes; `got` 0 at the end.
  virtual int read(int handle, char* buffer, std::size_t size, std::size_t& got) = 0;
  // Creates the file `name`, which must not exist (mode kFileMode whatever the umask).
  virtual int createFileAt(int directory, std::string const& name, int& handle) = 0;
  // Writes all of `data`; ENOSPC when the device is full.
  virtual int write(int handle, char const* data, std::size_t size) = 0;
  // Makes what was written to a file, or the names created, renamed or removed in a directory,
  // outlive a power cut.
  virtual int sync(int handle) = 0;
  virtual void close(int handle) = 0;

  virtual int renameAt(int fromDirectory, std::string const& from, int toDirectory, std::string const& to) = 0;
  // Removes the name `name` (a directory only when `directory` is true, and only when empty); a
  // link is removed, never what it points to.
  virtual int removeAt(int directory, std::string const& name, bool isDirectory) = 0;
  // Waits until no other process or thread holds the lock of the directory, then holds it until
  // the handle is closed.
  virtual int lock(int directory) = 0;

  // The user the process runs as: the only owner the outbox trusts.
  virtual std::uint32_t user() = 0;
  // Seconds since 1970 UTC (negative before), as the wall clock says.
  virtual std::int64_t wallSeconds() = 0;
  // Seconds since this boot, suspended time included: never set, never stepped back, but started
  // again at every boot.
  virtual std::int64_t bootSeconds() = 0;
  // What tells this boot from every other one; empty when the system does not say.
  virtual std::string bootId() = 0;
};

}  // namespace emailservice
