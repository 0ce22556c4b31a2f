#include "LongOptions.h"

#include <getopt.h>

#include <algorithm>

namespace tools {

namespace {

// The number of single-character edits that turn `a` into `b`.
std::size_t editDistance(std::string const& a, std::string const& b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) {
    row[j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      std::size_t const substitution = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, substitution});
    }
  }
  return row[b.size()];
}

}  // namespace

LongOptions::LongOptions(std::vector<Option> table) : options(std::move(table)) {}

bool LongOptions::parse(std::vector<std::string> const& args, Apply const& apply, std::vector<std::string>& operands,
                        std::string& error) const {
  std::vector<std::string> words{"program"};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (auto& word : words) {
    argv.push_back(&word[0]);
  }
  argv.push_back(nullptr);
  // A leading ":" makes a missing value its own answer; the short letters follow.
  std::string shortOptions = ":";
  std::vector<option> table;
  for (auto const& entry : options) {
    table.push_back({entry.name, entry.takesValue ? required_argument : no_argument, nullptr, entry.key});
    if (entry.key < 256) {
      shortOptions += static_cast<char>(entry.key);
      shortOptions += entry.takesValue ? ":" : "";
    }
  }
  table.push_back({nullptr, 0, nullptr, 0});

  opterr = 0;  // the diagnostics are ours
  optind = 0;  // a fresh scan, also when a process parses twice
  int const argc = static_cast<int>(words.size());
  for (int key = 0; (key = getopt_long(argc, argv.data(), shortOptions.c_str(), table.data(), nullptr)) != -1;) {
    if (key == '?' || key == ':') {
      error = key == ':' ? "option " + nameOf(optopt) + " needs a value"
                         : diagnose(argv[static_cast<std::size_t>(optind) - 1], optopt);
      return false;
    }
    if (!apply(key, optarg != nullptr ? optarg : "", error)) {
      return false;
    }
  }
  operands.assign(words.begin() + optind, words.end());
  return true;
}

std::string LongOptions::nameOf(int key) const {
  for (auto const& entry : options) {
    if (entry.key == key) {
      return std::string("--") + entry.name;
    }
  }
  return "-" + std::string(1, static_cast<char>(key));
}

// getopt_long names a known option given a value that it does not take, and an unknown short
// option, by its key in `optopt`; an unknown or ambiguous long option by 0, after which
// `argument` is the word that held it.
std::string LongOptions::diagnose(std::string const& argument, int optionKey) const {
  if (optionKey != 0) {
    bool const known =
        std::any_of(options.begin(), options.end(), [&](Option const& entry) { return entry.key == optionKey; });
    return known ? "option " + nameOf(optionKey) + " takes no value"
                 : "unknown option '-" + std::string(1, static_cast<char>(optionKey)) + "'";
  }
  std::string const name = argument.substr(2, argument.find('=') - 2);
  std::string candidates;
  for (auto const& entry : options) {
    if (std::string(entry.name).compare(0, name.size(), name) == 0) {
      candidates += (candidates.empty() ? "--" : ", --") + std::string(entry.name);
    }
  }
  if (candidates.find(',') != std::string::npos) {
    return "option '--" + name + "' is ambiguous: " + candidates;
  }
  return unknown(name);
}

std::string LongOptions::unknown(std::string const& name) const {
  std::string nearest;
  std::size_t best = 0;
  for (auto const& entry : options) {
    std::size_t const distance = editDistance(name, entry.name);
    if (nearest.empty() || distance < best) {
      nearest = entry.name;
      best = distance;
    }
  }
  return "unknown option '--" + name + "'; did you mean '--" + nearest + "'?";
}

}  // namespace tools
