// Replays a fuzz target's corpus without libFuzzer: every file of the directories (or the files)
// given on the command line goes once through LLVMFuzzerTestOneInput. A violated property
// aborts, which fails the test that runs this program.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "FuzzSupport.h"

namespace {

std::vector<std::filesystem::path> inputsOf(char const* argument) {
  std::vector<std::filesystem::path> inputs;
  std::filesystem::path const path(argument);
  if (std::filesystem::is_directory(path)) {
    for (auto const& entry : std::filesystem::directory_iterator(path)) {
      if (entry.is_regular_file()) {
        inputs.push_back(entry.path());
      }
    }
  } else {
    inputs.push_back(path);
  }
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    for (auto const& input : inputsOf(argv[i])) {
      std::string const bytes = emailservice::fuzz::readWholeFile(input.string());
      std::fprintf(stderr, "replaying %s (%zu bytes)\n", input.c_str(), bytes.size());
      LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
      ++replayed;
    }
  }
  std::fprintf(stderr, "replayed %zu inputs\n", replayed);
  // A corpus that lost its files must not pass silently.
  return replayed > 0 ? 0 : 1;
}
