// emailservice-check: the configuration check of card files, before the cards are used.
#include <iostream>
#include <string>
#include <vector>

#include "BuildProfile.h"
#include "CardCheck.h"
#include "CheckReport.h"
#include "LongOptions.h"
#include "StandardStreams.h"

namespace {

constexpr int kJson = 256;
constexpr int kVersion = 257;

constexpr char kProgram[] = "emailservice-check";

// Names the program as installed, whatever path it was started by: the manual page is made from it.
std::string usage() {
  return std::string("Usage: ") + kProgram +
         " [-q | --json] CARD_FILE...\n"
         "\n"
         "Checks the e-mail configurations of card files (simulated card states in protobuf text format)\n"
         "and the device names that reach the mail command: one finding a line, placed at the line of\n"
         "the card file it is about, with what the e-mail service will do with the value; then one\n"
         "summary line per card file. A CARD_FILE of - is the standard input.\n"
         "\n"
         "  -q, --quiet  only the errors: no warnings, notes or summaries\n"
         "  --json       the findings of every card file as JSON (format version 1)\n"
         "  -h, --help   this text\n"
         "  --version    the version of the e-mail service library and the build's profile\n"
         "\n"
         "Exit status: 0 without errors (warnings and notes allowed), 1 when a card has errors, 2 when a\n"
         "card file cannot be read or parsed, the command line is not usable, or the output cannot be\n"
         "written.\n";
}

// The operands, or a usage error in `error`.
bool checkOperands(std::vector<std::string> const& files, std::string& error) {
  std::size_t inputs = 0;
  for (auto const& file : files) {
    inputs += file == "-" ? 1U : 0U;
  }
  error = files.empty() ? "no card file: give CARD_FILE" : inputs > 1 ? "the standard input (-) given twice" : "";
  return error.empty();
}

int runTool(int argc, char** argv) {
  std::string const program = argc > 0 ? argv[0] : kProgram;
  tools::LongOptions const options(
      {{"json", false, kJson}, {"quiet", false, 'q'}, {"help", false, 'h'}, {"version", false, kVersion}});
  bool json = false;
  bool quiet = false;
  bool help = false;
  bool version = false;
  std::vector<std::string> files;
  std::string error;
  bool const parsed = options.parse(
      std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc),
      [&](int key, std::string const&, std::string&) {
        json = json || key == kJson;
        quiet = quiet || key == 'q';
        help = help || key == 'h';
        version = version || key == kVersion;
        return true;
      },
      files, error);
  if (parsed && !help && !version && checkOperands(files, error) && json && quiet) {
    error = "--json and --quiet exclude each other";
  }
  if (!error.empty()) {
    std::cerr << "emailservice-check: " << error << "\nTry '" << program << " --help'.\n";
    return tools::CheckReport::kExitUnusable;
  }
  if (help || version) {
    std::cout << (help ? usage() : tools::BuildProfile::versionText(kProgram));
    return 0;
  }
  std::vector<tools::CardCheck> checks(files.begin(), files.end());
  for (auto& check : checks) {
    check.run(error);
  }
  tools::CheckReport const report(checks);
  json ? report.printJson(std::cout) : report.printText(std::cout, std::cerr, quiet);
  return report.exitStatus();
}

}  // namespace

int main(int argc, char** argv) { return tools::StandardStreams::finish(kProgram, runTool(argc, argv)); }
