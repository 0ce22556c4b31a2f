// Fixture for every test that touches the simulated card or the card's fixed paths.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "simcard/SimulatedCard.h"

namespace emailservice::testing {

// Gives every test an empty simulated card and empty card directories (work directory, card
// logs, measures directories), and removes them again afterwards.
class CardTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  static simcard::SimulatedCard& card() { return simcard::SimulatedCard::instance(); }
};

// Whole-file helpers for tests.
std::string readFile(std::string const& path);
void writeFile(std::string const& path, std::string const& content);
bool fileExists(std::string const& path);
// Whether the process whose id `pidFile` holds is still running (a zombie has ended), after
// giving a signal sent to it up to two seconds to take effect.
bool processRuns(std::string const& pidFile);

}  // namespace emailservice::testing
