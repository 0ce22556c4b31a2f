// The copy of a log, written in place: opened with truncation, and removed when a write fails so
// that a cut-off copy never looks complete.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "FileDescriptor.h"

namespace emailservice {

class LogCopyFile {
 public:
  // Opens `filePath` for writing, creating it or truncating it. Check isOpen().
  explicit LogCopyFile(std::string filePath);
  // Closes the file; removes it when a write or the close failed.
  ~LogCopyFile();
  LogCopyFile(LogCopyFile const&) = delete;
  LogCopyFile& operator=(LogCopyFile const&) = delete;

  bool isOpen() const { return fd.isOpen(); }
  // Writes all of `data`; false, and every later write too, once the file system refused one.
  bool write(char const* data, std::size_t size);
  // Appends the regular file `source` from `offset` on, copied inside the kernel as far as it
  // will where that moves whole pages, and advances `offset` past what it copied. Called after a
  // write that succeeded. Never fails the copy: where the kernel
  // refuses, fails or reports the end, the caller reads and writes the rest itself, which also
  // tells a read error (the end of the input) from a write error (the copy cut off).
  void copyFrom(int source, off_t& offset);

 private:
  std::string path;  // removed again when the copy is cut off
  FileDescriptor fd;
  bool failed = false;
};

}  // namespace emailservice
