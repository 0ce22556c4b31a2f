// File operations of the outbox that survive a crash or a power cut: what they wrote is on the
// storage before they return. POSIX calls only; failures are answered with the system's reason.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace emailservice {

class DurableFiles final {
 public:
  DurableFiles() = delete;

  // "WHAT PATH: " and the system's reason of the last failed call (errno).
  static std::string systemError(std::string const& what, std::string const& path);

  // Creates `path` with `content` (mode 0644: the mail command reads it as another user; never
  // through a link) and syncs it.
  static bool write(std::string const& path, std::string const& content, std::string& error);
  // Copies the regular file `from` to `to` as write does; `bytes` receives its size.
  static bool copy(std::string const& from, std::string const& to, std::uint64_t& bytes, std::string& error);
  // Reads a whole regular file of at most `limit` bytes.
  static bool read(std::string const& path, std::uint64_t limit, std::string& content);
  // Syncs the directory itself, so that names created, renamed or removed in it last.
  static void syncDirectory(std::string const& path);
  // Creates the directory `path` (mode 0711: passed through by the mail command's user, not
  // listed); true when it exists afterwards.
  static bool makeDirectory(std::string const& path, std::string& error);
  // The names in a directory, without "." and "..", sorted; empty when it cannot be read.
  static std::vector<std::string> names(std::string const& directory);
  // The bytes of the regular files under `path`, directories included, links not followed.
  static std::uint64_t size(std::string const& path);
  // True when `path` names something (a link is not followed).
  static bool exists(std::string const& path);
  // Removes `path` and everything under it, links not followed.
  static void removeTree(std::string const& path);
};

}  // namespace emailservice
