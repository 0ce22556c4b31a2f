#include "WholeFile.h"

#include <cstdio>
#include <fstream>

namespace simcard {

bool replaceFileWhole(std::string const& path, std::string const& content) {
  std::string const temporaryPath = path + ".part";
  {
    std::ofstream out(temporaryPath, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) {
      std::remove(temporaryPath.c_str());
      return false;
    }
  }
  if (std::rename(temporaryPath.c_str(), path.c_str()) != 0) {
    std::remove(temporaryPath.c_str());
    return false;
  }
  return true;
}

}  // namespace simcard
