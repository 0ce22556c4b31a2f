// A minimal e-mail kind for the tests of the e-mail base: it attaches the files it was given (and,
// on request, its measure exports) and records what the body file held when its attachments were asked for.
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
    if (attachMeasureExports) {
      if (upsMeasuresLogFile.generateFiles(25) == 0) {
        attachments += " " + upsMeasuresLogFile.getLogFileName();
      }
      if (sensorMeasureLogFile.generateFiles(25) == 0) {
        attachments += " " + sensorMeasureLogFile.getLogFileName();
      }
    }
  }

  // Direct access for the tests of the submission and the escaping.
  void setSubject(std::string text) { subject = std::move(text); }
  void setAttachments(std::string list) { attachments = std::move(list); }

  // Also attach the two measure exports that every e-mail owns, when they are ready.
  bool attachMeasureExports = false;
  int attachCalls = 0;
  std::string bodyAtAttachTime;

 private:
  std::vector<std::string> chosenFiles;
};

}  // namespace emailservice::testing
