// The command lines of the tools: getopt_long over a table of long options ("--name value",
// "--name=value", unique abbreviations, "--" ends the options), with the diagnostics the tools
// print: an unknown option with the nearest known one, an ambiguous abbreviation with its
// candidates, a value missing or not wanted.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tools {

class LongOptions final {
 public:
  struct Option {
    char const* name;  // without the leading "--"
    bool takesValue;
    int key;  // its short letter, or a number above 255 for an option without one
  };
  // Called for each option in command-line order; false stops the parse with `error`.
  using Apply = std::function<bool(int key, std::string const& value, std::string& error)>;

  explicit LongOptions(std::vector<Option> table);

  // Parses `args` (without the program name). The arguments that are not options go to
  // `operands` in order. False with `error` set when the command line is not usable.
  bool parse(std::vector<std::string> const& args, Apply const& apply, std::vector<std::string>& operands,
             std::string& error) const;

  // "--name" of the option `key`.
  std::string nameOf(int key) const;

 private:
  std::string diagnose(std::string const& argument, int optionKey) const;
  std::string unknown(std::string const& name) const;

  std::vector<Option> options;
};

}  // namespace tools
