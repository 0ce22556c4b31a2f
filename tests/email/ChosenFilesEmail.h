// A minimal e-mail kind for the tests of the e-mail base: it attaches the files it was given and
// records what the body file held when its attachments were asked for.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "email/EmailGlobalConfig.h"
#include "support/CardTest.h"

namespace emailservice::testing {

class ChosenFilesEmail final : public EmailGlobalConfig {
 public:
  ChosenFilesEmail(cdsapi::CdsAccessor& accessor, EmailEvent const& mailedEvent, EventLogFile& logFile,
                   std::string const& bodyFileName, std::vector<std::string> files = {})
      : EmailGlobalConfig(accessor, mailedEvent, logFile, bodyFileName), chosenFiles(std::move(files)) {}

  void attachLogFiles() override {
    ++attachCalls;
    bodyAtAttachTime = readFile(messageFileName);
    for (auto const& file : chosenFiles) {
      attachments += " " + file;
    }
  }

  // Direct access for the tests of the submission and the escaping.
  void setSubject(std::string text) { subject = std::move(text); }
  void setAttachments(std::string list) { attachments = std::move(list); }

  int attachCalls = 0;
  std::string bodyAtAttachTime;

 private:
  std::vector<std::string> chosenFiles;
};

}  // namespace emailservice::testing
