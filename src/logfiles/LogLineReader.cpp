#include "logfiles/LogLineReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "logfiles/LogCopyFile.h"

namespace emailservice {

namespace {

// Large enough that reading and writing cost little more than a plain file copy, and that a
// line's timestamp is read without going back to the file.
constexpr std::size_t kBlockSize = std::size_t{1024} * 1024;

// A small log needs no more buffer than its size (and the scan of one line then never reads past
// it); cutting many small logs stays cheap.
constexpr std::size_t kSmallestBlock = std::size_t{4} * 1024;

bool isRegularFile(int fd) {
  struct stat status {};
  return fd >= 0 && ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

std::size_t blockSizeFor(int fd) {
  struct stat status {};
  if (fd < 0) {
    return 0;
  }
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < 0 ||
      static_cast<unsigned long long>(status.st_size) >= kBlockSize) {
    return kBlockSize;
  }
  return std::max(kSmallestBlock, static_cast<std::size_t>(status.st_size) + 1);
}

}  // namespace

LogLineReader::LogLineReader(std::string const& path)
    : fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      rereadable(isRegularFile(fd.get())),
      buffer(blockSizeFor(fd.get())) {}

LogLineReader::LineStart LogLineReader::peekLine() {
  if (foundFeed && foundLineBegin == begin) {  // the line was found by the previous call
    return {std::string_view(buffer.data() + begin, foundLineLength), true, true};
  }
  std::size_t searched = begin;
  for (;;) {
    auto const* feed = end > searched
                           ? static_cast<char const*>(std::memchr(buffer.data() + searched, '\n', end - searched))
                           : nullptr;
    if (feed != nullptr) {
      auto const length = static_cast<std::size_t>(feed - (buffer.data() + begin));
      foundFeed = true;
      foundLineBegin = begin;
      foundLineLength = length;
      return {std::string_view(buffer.data() + begin, length), true, true};
    }
    std::size_t const searchedPart = end - begin;
    if (!fill()) {
      return {std::string_view(buffer.data() + begin, end - begin), atEnd, false};
    }
    searched = begin + searchedPart;  // fill() moved the line to the front
  }
}

bool LogLineReader::skipUnfoundLine() {
  LineStart const start = peekLine();
  if (start.whole) {
    if (start.terminated) {
      begin += start.text.size() + 1;
    }
    return start.terminated;
  }
  off_t const lineOffset = unreadOffset();
  begin = end;
  while (fill()) {
    auto const* feed = static_cast<char const*>(std::memchr(buffer.data(), '\n', end));
    if (feed != nullptr) {
      begin = static_cast<std::size_t>(feed - buffer.data()) + 1;
      return true;
    }
    begin = end;
  }
  rewindTo(lineOffset);
  return false;
}

bool LogLineReader::fill() {
  if (atEnd || !fd.isOpen()) {
    return false;
  }
  foundFeed = false;
  if (begin > 0) {
    std::memmove(buffer.data(), buffer.data() + begin, end - begin);
    end -= begin;
    begin = 0;
  }
  if (end == buffer.size()) {
    // The buffer holds the start of one line. A regular file reads it again when needed; any
    // other input cannot, and is not held in more memory: it ends here.
    atEnd = !rereadable;
    return false;
  }
  ssize_t const count = retryOnInterrupt([this] { return ::read(fd.get(), buffer.data() + end, buffer.size() - end); });
  if (count <= 0) {
    atEnd = true;
    return false;
  }
  end += static_cast<std::size_t>(count);
  readOffset += count;
  return true;
}

bool LogLineReader::drainTo(LogCopyFile& copy) {
  openLine = 0;
  bool byKernel = rereadable && !atEnd;
  do {
    std::size_t const size = drainableSize();
    if (size > 0 && !copy.write(buffer.data() + begin, size)) {
      return false;
    }
    begin = end;
    if (byKernel) {  // once, after what the buffer held
      byKernel = false;
      off_t offset = readOffset;
      copy.copyFrom(fd.get(), offset);
      rewindTo(offset);
    }
  } while (fill());
  return true;
}

std::size_t LogLineReader::drainableSize() {
  std::size_t const size = end - begin;
  if (rereadable) {
    return size;
  }
  char const* const data = buffer.data() + begin;
  auto const* const feed = static_cast<char const*>(std::memchr(data, '\n', size));
  std::size_t const openPart = feed != nullptr ? static_cast<std::size_t>(feed - data) : size;
  if (openLine + openPart >= buffer.size()) {
    atEnd = true;
    return buffer.size() - openLine;
  }
  if (feed == nullptr) {
    openLine += size;
    return size;
  }
  // Every later line of the block is shorter than the buffer; the last one may go on.
  std::size_t lastLineStart = size;
  while (data[lastLineStart - 1] != '\n') {
    --lastLineStart;
  }
  openLine = size - lastLineStart;
  return size;
}

void LogLineReader::rewindTo(off_t offset) {
  begin = end = 0;
  foundFeed = false;
  readOffset = offset;
  atEnd = ::lseek(fd.get(), offset, SEEK_SET) != offset;
}

}  // namespace emailservice
