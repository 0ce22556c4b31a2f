// Utility library: a guard that disposes of a file at the end of its life.
#pragma once

#include <string>

namespace zorvan::common {

class TemporaryFile {
 public:
  // Guards the file at `path`. With `createNow` true the guard creates the file empty at once;
  // with false it does not touch it until it is destroyed.
  TemporaryFile(std::string path, bool createNow);
  // Removes the file, if it exists; a file that cannot be removed is left as it is.
  ~TemporaryFile();
  TemporaryFile(TemporaryFile const&) = delete;
  TemporaryFile& operator=(TemporaryFile const&) = delete;

  std::string const& path() const { return filePath; }

 private:
  std::string filePath;
};

}  // namespace zorvan::common
