// Fixture for every test that touches the simulated card or the card's fixed paths.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "simcard/SimulatedCard.h"

namespace emailservice::testing {

// One command that the library ran while commands were recorded.
struct RecordedCommand {
  std::vector<std::string> args;
  std::string input;
};

// Gives every test an empty simulated card and empty card directories (work directory, card
// logs, measures directories), and removes them again afterwards.
class CardTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  static simcard::SimulatedCard& card() { return simcard::SimulatedCard::instance(); }

  // From now on commands are recorded instead of run; each prints `output` and exits with `status`.
  void recordCommands(std::string output = "", int status = 0);
  std::vector<RecordedCommand> const& recordedCommands() const { return commands; }
  // The shell command text of the recorded "/bin/sh -c TEXT" runs, in order.
  std::vector<std::string> recordedShellCommands() const;

 private:
  std::vector<RecordedCommand> commands;
};

// Whole-file helpers for tests.
std::string readFile(std::string const& path);
void writeFile(std::string const& path, std::string const& content);
bool fileExists(std::string const& path);
// Whether the process whose id `pidFile` holds is still running (a zombie has ended), after
// giving a signal sent to it up to two seconds to take effect.
bool processRuns(std::string const& pidFile);

}  // namespace emailservice::testing
