#include "logfiles/EventLogFile.h"

namespace emailservice {

EventLogFile::EventLogFile(std::string const& fileName) : logFileName(fileName) {}

EventLogFile::~EventLogFile() = default;

std::string EventLogFile::getLogFileName() const { return logFileName; }

}  // namespace emailservice
