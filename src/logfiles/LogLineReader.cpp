#include "logfiles/LogLineReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace emailservice {

namespace {

// Large enough that reading and writing cost little more than a plain file copy.
constexpr std::size_t kBlockSize = 1024 * 1024;

}  // namespace

LogLineReader::LogLineReader(std::string const& path)
    : fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), buffer(fd >= 0 ? kBlockSize : 0) {}

LogLineReader::~LogLineReader() {
  if (fd >= 0) {
    ::close(fd);
  }
}

LogLineReader::Line LogLineReader::readLine() {
  std::size_t searched = begin;
  for (;;) {
    auto const* feed = end > searched
                           ? static_cast<char const*>(std::memchr(buffer.data() + searched, '\n', end - searched))
                           : nullptr;
    if (feed != nullptr) {
      auto const length = static_cast<std::size_t>(feed - (buffer.data() + begin));
      Line const line{std::string_view(buffer.data() + begin, length), true};
      begin += length + 1;
      return line;
    }
    std::size_t const searchedPart = end - begin;
    if (!fill()) {
      Line const line{std::string_view(buffer.data() + begin, end - begin), false};
      begin = end;
      return line;
    }
    searched = begin + searchedPart;  // fill() may have moved the line to the front
  }
}

bool LogLineReader::fill() {
  if (atEnd || fd < 0) {
    return false;
  }
  if (begin > 0) {
    std::memmove(buffer.data(), buffer.data() + begin, end - begin);
    end -= begin;
    begin = 0;
  }
  if (end == buffer.size()) {
    buffer.resize(buffer.size() * 2);  // one line fills the whole buffer
  }
  for (;;) {
    ssize_t const count = ::read(fd, buffer.data() + end, buffer.size() - end);
    if (count > 0) {
      end += static_cast<std::size_t>(count);
      return true;
    }
    if (count < 0 && errno == EINTR) {
      continue;
    }
    atEnd = true;
    readError = count < 0;
    return false;
  }
}

}  // namespace emailservice
