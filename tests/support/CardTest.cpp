#include "support/CardTest.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "CardPaths.h"

namespace emailservice::testing {

namespace {

namespace fs = std::filesystem;

std::vector<std::string> const& cardDirectories() {
  static std::vector<std::string> const directories = {paths::kWorkDirectory, paths::kPersistentDirectory,
                                                       paths::kSystemLogDirectory, paths::kUpsMeasuresDirectory,
                                                       paths::kSensorMeasuresDirectory};
  return directories;
}

void emptyDirectory(std::string const& directory) {
  std::error_code ignored;
  fs::remove_all(directory, ignored);
  fs::create_directories(directory);
}

}  // namespace

void CardTest::SetUp() {
  card().reset();
  for (auto const& directory : cardDirectories()) {
    emptyDirectory(directory);
  }
}

void CardTest::TearDown() {
  card().reset();
  std::error_code ignored;
  for (auto const& directory : cardDirectories()) {
    fs::remove_all(directory, ignored);
  }
}

std::string readFile(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(std::string const& path, std::string const& content) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

bool fileExists(std::string const& path) { return fs::exists(path); }

bool processRuns(std::string const& pidFile) {
  std::string const pid = readFile(pidFile);
  std::string const stat = "/proc/" + pid.substr(0, pid.find('\n')) + "/stat";
  for (int tries = 0; tries < 200; ++tries) {
    std::string const status = readFile(stat);
    auto const state = status.rfind(") ");
    if (state == std::string::npos || status.compare(state + 2, 1, "Z") == 0) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

}  // namespace emailservice::testing
