// The mail command run for real through /bin/sh, with the recording stand-ins of tests/support/bin
// first on the PATH: a sudo that drops "-u email", and a sendemail that writes the words it
// received and the body it read, or fails as HARDENING_FAULT asks (see the stand-in's opening
// comment).
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "emailservice/ErrorCode.h"
#include "support/CardTest.h"

namespace emailservice::testing {

class RecordingMailTest : public CardTest {
 public:
  RecordingMailTest();

 protected:
  void SetUp() override;
  void TearDown() override;

  std::filesystem::path const root;
  std::filesystem::path const scratch;  // the current directory: where a command of a value would write
  std::string const record;             // the stand-in's record; ".body", ".sent", ".pid", ".slow" beside it
};

// Stores the card's list: the template entry, never processed, then per id a configuration that
// mails every critical UPS alarm, with `recipients`, and with `more` (protobuf text format) merged
// over it.
void storeConfigurations(std::vector<std::string> const& ids, std::string const& recipients,
                         std::string const& more = "");
// Fires an active critical UPS alarm with code 1A and `description` at the library.
ErrorCode sendAlarm(std::string const& description);

}  // namespace emailservice::testing
