// emailservice-check: the configuration check of a card file, before the card is used.
#include <iostream>
#include <string>
#include <vector>

#include "BuildProfile.h"
#include "CardCheck.h"
#include "LongOptions.h"

namespace {

constexpr int kExitErrors = 1;
constexpr int kExitUnusable = 2;
constexpr int kJson = 256;
constexpr int kVersion = 257;

std::string usage(std::string const& program) {
  return "Usage: " + program +
         " [--json] CARD_FILE\n"
         "\n"
         "Checks the e-mail configurations of a card file (a simulated card state in protobuf text format)\n"
         "and the device names that reach the mail command: one finding a line, with what the e-mail\n"
         "service will do with the value.\n"
         "\n"
         "  --json       the findings as JSON\n"
         "  -h, --help   this text\n"
         "  --version    the version of the e-mail service library and the build's profile\n"
         "\n"
         "Exit status: 0 without errors (warnings and notes allowed), 1 with errors, 2 when the card file\n"
         "cannot be read or the command line is not usable.\n";
}

}  // namespace

int main(int argc, char** argv) {
  std::string const program = argc > 0 ? argv[0] : "emailservice-check";
  tools::LongOptions const options({{"json", false, kJson}, {"help", false, 'h'}, {"version", false, kVersion}});
  bool json = false;
  bool help = false;
  bool version = false;
  std::vector<std::string> files;
  std::string error;
  bool const parsed = options.parse(
      std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc),
      [&](int key, std::string const&, std::string&) {
        json = json || key == kJson;
        help = help || key == 'h';
        version = version || key == kVersion;
        return true;
      },
      files, error);
  if (parsed && !help && !version && files.size() != 1) {
    error = files.empty() ? "no card file: give CARD_FILE" : "one card file at a time";
  }
  if (!error.empty()) {
    std::cerr << "emailservice-check: " << error << "\nTry '" << program << " --help'.\n";
    return kExitUnusable;
  }
  if (help || version) {
    std::cout << (help ? usage(program) : tools::BuildProfile::versionText("emailservice-check"));
    return 0;
  }
  tools::CardCheck check(files.front());
  if (!check.run(error)) {
    std::cerr << "emailservice-check: " << error << "\n";
    return kExitUnusable;
  }
  json ? check.printJson(std::cout) : check.printLines(std::cout);
  return check.hasErrors() ? kExitErrors : 0;
}
