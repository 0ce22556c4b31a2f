// Reads a log file line by line through one fixed buffer, and hands over the unread rest in
// blocks. Lines may be of any length and hold any byte. A line longer than the buffer is never
// held: it is skipped or streamed, and its start is read again from the file when needed. An
// input that cannot be read again (a pipe, a device) ends where a line reaches the buffer's size
// without a line feed, so that an endless line costs no more memory and time than the buffer.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "FileDescriptor.h"

namespace emailservice {

class LogCopyFile;

class LogLineReader {
 public:
  // The next line as far as the buffer holds it, without its line feed.
  struct LineStart {
    std::string_view text;  // valid until the next call on the reader
    bool whole;             // `text` is the whole line: a line feed or the end of the input follows
    bool terminated;        // a line feed follows `text`
  };

  // Opens `path` for reading. Check isOpen().
  explicit LogLineReader(std::string const& path);
  LogLineReader(LogLineReader const&) = delete;
  LogLineReader& operator=(LogLineReader const&) = delete;

  bool isOpen() const { return fd.isOpen(); }

  // Reads the next line into the buffer, as much of it as fits. At the end of the input the line
  // is the text after the last line feed (empty when the input ends with one), unterminated. A
  // read error counts as the end of the input.
  LineStart peekLine();

  // Gives the next line, however long, to `visit` in blocks (callable with (std::string_view),
  // returning false when it has seen enough), then goes back to the line's start: the line stays
  // the next one.
  template <typename Visitor>
  void inspectLine(Visitor&& visit) {
    LineStart start = peekLine();
    if (start.whole || !visit(start.text)) {
      return;
    }
    off_t const lineOffset = unreadOffset();
    begin = end;
    bool more = true;
    while (more && fill()) {
      std::string_view const block(buffer.data(), end);
      std::size_t const feed = block.find('\n');
      more = visit(block.substr(0, feed)) && feed == std::string_view::npos;
      begin = end;
    }
    rewindTo(lineOffset);
  }

  // Passes over the lines that the buffer holds whole, line feed included, until `stop` (callable
  // with a line's text, without its line feed) returns true for one. True then, and that line is
  // the next one; false when the buffer holds no further whole line. The scan's inner loop: no
  // call per line other than `stop` and the search for the line feed.
  template <typename Stop>
  bool skipBufferedLinesUntil(Stop&& stop) {
    char const* const data = buffer.data();
    while (begin < end) {
      auto const* const feed = static_cast<char const*>(std::memchr(data + begin, '\n', end - begin));
      if (feed == nullptr) {
        return false;
      }
      auto const length = static_cast<std::size_t>(feed - (data + begin));
      if (stop(std::string_view(data + begin, length))) {
        foundFeed = true;
        foundLineBegin = begin;
        foundLineLength = length;
        return true;
      }
      begin += length + 1;
    }
    return false;
  }

  // Passes over the next line and its line feed. A line that the input ends without a line feed
  // is not passed over; false then, and that line is the next one.
  bool skipLine() {
    if (foundFeed && foundLineBegin == begin) {  // the line peekLine() found last: the usual case
      begin += foundLineLength + 1;
      return true;
    }
    return skipUnfoundLine();
  }

  // Gives the next line, without its line feed, to `sink` (callable with (char const*,
  // std::size_t), returning false to stop) in blocks, and passes over its line feed. False when
  // the sink stopped.
  template <typename Sink>
  bool copyLineTo(Sink&& sink) {
    for (;;) {
      LineStart const start = peekLine();
      if (!start.text.empty() && !sink(start.text.data(), start.text.size())) {
        return false;
      }
      begin += start.text.size();
      if (start.whole) {
        begin += start.terminated ? 1 : 0;
        return true;
      }
    }
  }

  // Appends the unread input to `copy`, starting at the start of a line: first what the buffer
  // holds, then the rest of a regular file copied by the kernel, and whatever the kernel left
  // through fresh reads. False when a write failed.
  bool drainTo(LogCopyFile& copy);

 private:
  // Reads more input after the unread bytes, moving them to the front of the buffer first. False
  // at the end of the input, on a read error, or when the buffer is full; a full buffer is the end
  // of an input that cannot be read again.
  bool fill();
  // How many of the unread bytes drainTo() gives: all of them, except from an input that cannot
  // be read again where a line reaches the buffer's size: the input then ends there.
  std::size_t drainableSize();
  // skipLine() for a line not found whole in the buffer by the last peekLine().
  bool skipUnfoundLine();
  // The position in the file of the first unread byte.
  off_t unreadOffset() const { return readOffset - static_cast<off_t>(end - begin); }
  // Continues reading at `offset`; a failure counts as the end of the input.
  void rewindTo(off_t offset);

  FileDescriptor fd;
  bool rereadable = false;  // a regular file, which can be read again from an earlier position
  std::vector<char> buffer;
  std::size_t begin = 0;  // first unread byte
  std::size_t end = 0;    // one past the last buffered byte
  off_t readOffset = 0;   // the position in the file of buffer[end]
  bool atEnd = false;
  std::size_t openLine = 0;  // drainTo(): the length of the last line given, while it has no line feed
  // The line last found whole by peekLine(), so that passing over it does not search it again.
  bool foundFeed = false;
  std::size_t foundLineBegin = 0;
  std::size_t foundLineLength = 0;
};

}  // namespace emailservice
