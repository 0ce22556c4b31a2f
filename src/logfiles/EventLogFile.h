// A log that an e-mail can attach: it generates its file or files and names them for the
// attachment list.
#pragma once

#include <cstdint>
#include <string>

namespace emailservice {

// Contract for the kinds:
// - generateFiles / generateFilesFromDate produce the file(s), the latest entries or those from
//   a UTC start time on, and return 0 when they are ready to be attached, non-zero otherwise.
// - getLogFileName gives the text that a kind appends to an e-mail's attachment list.
class EventLogFile {
 public:
  explicit EventLogFile(std::string const& fileName);
  virtual ~EventLogFile();
  EventLogFile(EventLogFile const&) = delete;
  EventLogFile& operator=(EventLogFile const&) = delete;

  virtual std::int32_t generateFiles(unsigned int count) = 0;
  virtual std::int32_t generateFilesFromDate(long fromTime) = 0;
  // The bare path given at construction.
  virtual std::string getLogFileName() const;

 protected:
  std::string logFileName;
};

}  // namespace emailservice
