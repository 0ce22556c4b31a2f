// The copy of a log, written in place: opened with truncation, and removed when a write fails so
// that a cut-off copy never looks complete.
#pragma once

#include <cstddef>
#include <string>

namespace emailservice {

class LogCopyFile {
 public:
  // Opens `filePath` for writing, creating it or truncating it. Check isOpen().
  explicit LogCopyFile(std::string filePath);
  // Closes the file; removes it when a write or the close failed.
  ~LogCopyFile();
  LogCopyFile(LogCopyFile const&) = delete;
  LogCopyFile& operator=(LogCopyFile const&) = delete;

  bool isOpen() const { return fd >= 0; }
  // Writes all of `data`; false, and every later write too, once the file system refused one.
  bool write(char const* data, std::size_t size);

 private:
  std::string path;  // removed again when the copy is cut off
  int fd;
  bool failed = false;
};

}  // namespace emailservice
