// Replays a fuzz target's corpus without libFuzzer: every file of the directories (or the files)
// given on the command line goes once through LLVMFuzzerTestOneInput, in name order. A violated
// property aborts, which fails the test that runs this program.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "FuzzSupport.h"

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    if (!fs::is_directory(argv[i])) {
      inputs.emplace_back(argv[i]);
      continue;
    }
    for (auto const& entry : fs::directory_iterator(argv[i])) {
      if (entry.is_regular_file()) {
        inputs.push_back(entry.path());
      }
    }
  }
  std::sort(inputs.begin(), inputs.end());
  for (auto const& input : inputs) {
    std::string const bytes = emailservice::fuzz::readWholeFile(input.string());
    std::fprintf(stderr, "replaying %s (%zu bytes)\n", input.c_str(), bytes.size());
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
  }
  std::fprintf(stderr, "replayed %zu inputs\n", inputs.size());
  // A corpus that lost its files must not pass silently.
  return inputs.empty() ? 1 : 0;
}
