// The simulated card: the one data store of the process that the host implementation of the
// platform answers from, plus the controls that tests and the card simulator use.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "card_state.pb.h"

namespace simcard {

// One entry that the library wrote to the card's log through cdsapi::dataLog::logMessage.
struct LogEntry {
  int category;
  int eventId;
  int deviceId;
  int severity;
  std::string source;
  int channelId;
  std::string message;
};

class SimulatedCard {
 public:
  // Runs instead of a program when set: receives the argument vector and the standard input,
  // writes what the program would print to `output`, and returns its exit status.
  using CommandHook =
      std::function<int(std::vector<std::string> const& args, std::string const& input, std::string& output)>;

  // The one card of the process.
  static SimulatedCard& instance();

  // The card's state; tests change it directly.
  proto::CardState& state() { return cardState; }
  // Replaces the whole state (the card's log and the hooks stay).
  void load(proto::CardState newState) { cardState = std::move(newState); }
  // Back to an empty card: no state, an empty card log, no hook, no fault.
  void reset();

  // Sets the record `key` (replacing any record of that key).
  void setRecord(std::string const& key, dravo::proto::toolkitStruct const& value);
  // The device `id`, added when missing.
  proto::Device& device(unsigned long long id);

  // What the library wrote to the card's log, oldest first.
  std::vector<LogEntry> const& cardLog() const { return log; }
  void appendLog(LogEntry entry) { log.push_back(std::move(entry)); }

  // Replaces running programs (zorvan::exec and zorvan::Exec) while set; an empty hook restores
  // the real runs.
  void setCommandHook(CommandHook hook) { commandHook = std::move(hook); }
  CommandHook const& getCommandHook() const { return commandHook; }

  // Makes the data store operation `operation` (e.g. "getDeviceVendor", "get", "getChannelId",
  // "getActiveAlarmsFromDate", "logMessage") raise std::runtime_error from its `callNumber`-th
  // call on (1: the next call). An empty name clears the fault.
  void setFault(std::string operation, unsigned int callNumber = 1);
  // Called by every data store operation of the host platform; raises when a fault says so.
  void checkFault(std::string const& operation);

 private:
  SimulatedCard() = default;

  proto::CardState cardState;
  std::vector<LogEntry> log;
  CommandHook commandHook;
  std::string faultOperation;
  unsigned int faultCallsLeft = 0;
};

}  // namespace simcard
