// What the outbox does with files and directories, made of the storage layer's calls: durable
// writes and copies, reads that trust nothing they find, removal through descriptors. Every name
// is relative to a directory handle of the outbox.
#pragma once

#include <cstdint>
#include <string>

#include "outbox/OutboxFiles.h"

namespace emailservice {

class OutboxTree final {
 public:
  explicit OutboxTree(OutboxFiles& layer) : files(layer) {}

  OutboxFiles& layer() const { return files; }

  // Creates `name` in `directory` with `content` and syncs it; the directory is not synced.
  int writeFile(int directory, std::string const& name, std::string const& content) const;
  // Copies the regular file `from` (a work file, never through a link in its place) to `name` as
  // writeFile does; `sourceFailed` tells whether the failure was reading `from`.
  int copyIn(std::string const& from, int directory, std::string const& name, bool& sourceFailed) const;
  // The content of the regular file `name` of at most `limit` bytes: a link, a FIFO, a device or
  // a larger file is refused (EINVAL, EFBIG) without being read.
  int readFile(int directory, std::string const& name, std::uint64_t limit, std::string& content) const;
  // Removes `name` and, for a directory, everything in it; never follows a link.
  int removeTree(int directory, std::string const& name) const;
  // The storage that `name` and everything in it spend, in bytes of blocks.
  std::uint64_t blocks(int directory, std::string const& name) const;
  // Syncs the directory `name` of `directory`.
  int syncDirectoryAt(int directory, std::string const& name) const;

 private:
  OutboxFiles& files;
};

}  // namespace emailservice
