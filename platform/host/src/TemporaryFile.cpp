#include "zorvan/common/TemporaryFile.h"

#include <cstdio>
#include <fstream>

namespace zorvan::common {

TemporaryFile::TemporaryFile(std::string path, bool createNow) : filePath(std::move(path)) {
  if (createNow) {
    // Creates the file empty, truncating an existing one; a file that cannot be created is
    // simply not there, as when the guard does not create it.
    std::ofstream created(filePath, std::ios::binary | std::ios::trunc);
  }
}

TemporaryFile::~TemporaryFile() { std::remove(filePath.c_str()); }

}  // namespace zorvan::common
