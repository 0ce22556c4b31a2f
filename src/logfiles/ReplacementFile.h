// A file written under a temporary name beside its final path and put in place only when it is
// whole, so that a failed write never leaves a truncated file that looks complete.
#pragma once

#include <cstddef>
#include <string>

namespace emailservice {

class ReplacementFile {
 public:
  // Creates "<path>.part" (replacing any left by an earlier failed run). Check isOpen().
  explicit ReplacementFile(std::string path);
  // Removes the temporary file unless commit() succeeded; `path` is then left as it was.
  ~ReplacementFile();
  ReplacementFile(ReplacementFile const&) = delete;
  ReplacementFile& operator=(ReplacementFile const&) = delete;

  bool isOpen() const { return fd >= 0; }
  // Writes all of `data`; false (and the file is abandoned) when the file system refuses.
  bool write(char const* data, std::size_t size);
  // Closes the temporary file and renames it to `path`. False when anything failed since it was
  // opened; the temporary file is then removed and `path` is untouched.
  bool commit();

 private:
  void abandon();

  std::string finalPath;
  std::string temporaryPath;
  int fd;
  bool failed = false;
};

}  // namespace emailservice
