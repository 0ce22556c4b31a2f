#include "RunLock.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "CardPaths.h"

namespace simulator {

bool RunLock::acquire(std::string& error) {
  std::string const path = std::string(emailservice::paths::kWorkDirectory) + "simulator.lock";
  std::error_code failure;
  std::filesystem::create_directories(emailservice::paths::kWorkDirectory, failure);
  if (!file.lock(path)) {
    error = "cannot lock " + path + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace simulator
