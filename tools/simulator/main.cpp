// emailservice-simulator: fires one event at the e-mail service of a simulated card.
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "BuildProfile.h"
#include "CardCheck.h"
#include "OptionParser.h"
#include "SimulatorRun.h"
#include "StandardStreams.h"

namespace {

constexpr int kExitUsage = 2;
constexpr char kProgram[] = "emailservice-simulator";

// The simulator's own executable, to find the command stand-ins installed next to it.
std::string programPath(char const* argv0) {
  std::error_code failure;
  std::filesystem::path const self = std::filesystem::read_symlink("/proc/self/exe", failure);
  return failure ? std::string(argv0) : self.string();
}

std::string defaultMaildir() {
  char const* const tmp = std::getenv("TMPDIR");
  return std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/emailservice-simulator/Maildir";
}

// --check: the findings of the card's configurations, before the event. A card file that cannot be
// parsed is left to the run, which reports it.
void checkCard(std::string const& cardFile, std::string const& content) {
  tools::CardCheck check(cardFile);
  std::string ignored;
  if (check.check(content, ignored)) {
    std::ostringstream lines;
    check.printLines(lines);
    std::cout << (lines.str().empty() ? "Check: no findings in " + check.name() + "\n" : lines.str());
  }
}

int runTool(int argc, char** argv) {
  std::string const program = argc > 0 ? argv[0] : kProgram;
  std::vector<std::string> const args(argv + (argc > 0 ? 1 : 0), argv + argc);
  simulator::SimulatorOptions options;
  std::string error;
  if (!simulator::OptionParser(defaultMaildir()).parse(args, options, error)) {
    std::cerr << "emailservice-simulator: " << error << "\nTry '" << program << " --help'.\n";
    return kExitUsage;
  }
  if (options.help || options.version) {
    std::cout << (options.help ? simulator::OptionParser::usage(kProgram, defaultMaildir())
                               : tools::BuildProfile::versionText(kProgram));
    return 0;
  }
  simulator::SimulatorRun run(options, programPath(program.c_str()), std::cout, std::cerr);
  if (options.listOutbox) {
    return run.listOutbox();
  }
  std::string card;
  if (!run.readCard(card)) {
    return kExitUsage;
  }
  if (options.check) {
    checkCard(options.cardFile, card);
  }
  return run.run(card);
}

}  // namespace

int main(int argc, char** argv) { return tools::StandardStreams::finish(kProgram, runTool(argc, argv)); }
