// One run of the simulator: load the card, lay out its files, fire the event, report the result.
#pragma once

#include <iosfwd>
#include <string>

#include "OptionParser.h"
#include "card_state.pb.h"
#include "cdsapi/CdsAccessor.h"
#include "emailservice/ErrorCode.h"

namespace simulator {

class SimulatorRun final {
 public:
  SimulatorRun(SimulatorOptions const& options, std::string programPath, std::ostream& out, std::ostream& err);

  // The process's exit status: 0 for Success and TestEmailSucceeded, 1 for the failure codes,
  // 2 when the card file or the card's files could not be prepared, or when an exception left the
  // library, 3 when the code says sent but an e-mail of the event was not. Runs on the same card
  // paths wait for each other. --retry: 0 when nothing stays kept, 1 otherwise. `card` is the
  // card file's content (readCard).
  int run(std::string const& card);
  // Reads the card file of the options whole (the standard input for "-", a pipe as it comes),
  // once: what --check and the run share. False, with the message printed, when it cannot be read.
  bool readCard(std::string& content);
  // --outbox: prints the kept e-mails; 2 when the library has no outbox.
  int listOutbox();

  // "TestEmailSucceeded (1)"; an unknown value reads "unknown (N)".
  static std::string describe(emailservice::ErrorCode code);

 private:
  bool loadCard(std::string const& content, simcard::proto::CardState& state);
  // Fires the event and reports the result; the library's exceptions pass.
  int fire(simcard::proto::CardState const& state);
  // --retry: sends the kept e-mails again.
  int retry();
  // The card log entries that the library wrote itself from `first` on (outbox builds).
  void printLibraryEntries(std::size_t first);
  void warnIfNoConfigurationIsAddressed(simcard::proto::CardState const& state) const;
  void logResult(simcard::proto::CardState const& state, cdsapi::CdsAccessor& accessor, emailservice::ErrorCode code);
  std::string logConfigurationId(simcard::proto::CardState const& state) const;

  SimulatorOptions const& options;
  std::string programPath;
  std::ostream& out;
  std::ostream& err;
};

}  // namespace simulator
