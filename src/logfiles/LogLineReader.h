// Reads a log file line by line through one large buffer, and hands over the unread rest in
// blocks. Lines may be of any length and hold any byte; each is read whole.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace emailservice {

class LogLineReader {
 public:
  struct Line {
    std::string_view text;  // without its line feed; valid until the next call on the reader
    bool terminated;        // false when the input ended before a line feed
  };

  // Opens `path` for reading. Check isOpen().
  explicit LogLineReader(std::string const& path);
  ~LogLineReader();
  LogLineReader(LogLineReader const&) = delete;
  LogLineReader& operator=(LogLineReader const&) = delete;

  bool isOpen() const { return fd >= 0; }
  // True once a read failed (for instance the path is a directory): the input is incomplete.
  bool failed() const { return readError; }

  // The next line. At the end of the input it gives the text after the last line feed (empty
  // when the input ends with one), unterminated.
  Line readLine();

  // Gives the unread input to `sink` (callable with (char const*, std::size_t), returning false
  // to stop) in blocks: first what the buffer holds, then fresh reads. False when the sink
  // stopped or a read failed.
  template <typename Sink>
  bool drainTo(Sink&& sink) {
    if (end > begin && !sink(buffer.data() + begin, end - begin)) {
      return false;
    }
    begin = end = 0;
    while (fill()) {
      if (!sink(buffer.data(), end)) {
        return false;
      }
      begin = end = 0;
    }
    return !readError;
  }

 private:
  // Reads more input after the buffered bytes, moving them to the front or growing the buffer
  // when it is full. False at the end of the input or on a read error.
  bool fill();

  int fd;
  std::vector<char> buffer;
  std::size_t begin = 0;  // first unread byte
  std::size_t end = 0;    // one past the last buffered byte
  bool atEnd = false;
  bool readError = false;
};

}  // namespace emailservice
