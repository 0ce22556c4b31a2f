#include "simcard/CardFile.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

#include "FileDescriptor.h"
#include "simcard/ParseMessage.h"

namespace simcard {

namespace {

// Keeps the first syntax error of a parse, as "NAME:LINE:COLUMN: text" with 1-based numbers and
// the parser's text in our words.
class FirstErrorCollector final : public google::protobuf::io::ErrorCollector {
 public:
  explicit FirstErrorCollector(std::string const& name) : filePath(name) {}

  void AddError(int line, google::protobuf::io::ColumnNumber column, std::string const& message) override {
    if (!first.empty()) {
      return;
    }
    std::ostringstream text;
    // The parser counts lines and columns from 0; an error not tied to a place has line -1.
    if (line >= 0) {
      text << filePath << ':' << line + 1 << ':' << column + 1 << ": " << ParseMessage::reword(message);
    } else {
      text << filePath << ": " << ParseMessage::reword(message);
    }
    first = text.str();
  }

  std::string const& firstError() const { return first; }

 private:
  std::string filePath;
  std::string first;
};

std::string cannotRead(std::string const& name, int cause) {
  return name + ": cannot read: " + std::strerror(cause != 0 ? cause : EIO);
}

// Reads `fd` to its end, at most CardFile::kMaxBytes: the bound that keeps a source that never
// ends (a pipe that is fed for ever) from growing the reader without end.
bool readToEnd(int fd, std::string const& name, std::string& content, std::string& error) {
  char buffer[8192];
  ssize_t got;
  while ((got = emailservice::retryOnInterrupt([&] { return ::read(fd, buffer, sizeof buffer); })) != 0) {
    if (got < 0) {
      error = cannotRead(name, errno);
      return false;
    }
    content.append(buffer, static_cast<std::size_t>(got));
    if (content.size() > CardFile::kMaxBytes) {
      error = name + ": cannot read: larger than 16 MiB";
      return false;
    }
  }
  return true;
}

// A pipe or FIFO opened without blocking (a process substitution, a FIFO): read when a writer
// holds it, and then as the writer writes, to its end. A FIFO that no writer holds is refused
// rather than waited for: its read answers the end at once.
bool readPipe(int fd, std::string const& name, std::string& content, std::string& error) {
  char first = 0;
  ssize_t const got = emailservice::retryOnInterrupt([&] { return ::read(fd, &first, 1); });
  if (got == 0) {
    error = name + ": cannot read: a pipe without a writer";
    return false;
  }
  if (got < 0 && errno != EAGAIN) {
    error = cannotRead(name, errno);
    return false;
  }
  content.assign(got > 0 ? 1U : 0U, first);
  int const flags = ::fcntl(fd, F_GETFL);
  if (flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
    error = cannotRead(name, errno);
    return false;
  }
  return readToEnd(fd, name, content, error);
}

// Reads the open file `fd` whole, if it is a regular file of at most CardFile::kMaxBytes or a
// pipe: a device (/dev/zero, a terminal) could block the reader or never end.
bool readOpenFile(int fd, std::string const& name, std::string& content, std::string& error) {
  struct stat status {};
  if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) {
    error = cannotRead(name, S_ISDIR(status.st_mode) ? EISDIR : errno);
    return false;
  }
  if (S_ISFIFO(status.st_mode)) {
    return readPipe(fd, name, content, error);
  }
  if (!S_ISREG(status.st_mode)) {
    error = name + ": cannot read: not a regular file or a pipe";
    return false;
  }
  if (static_cast<unsigned long long>(status.st_size) > CardFile::kMaxBytes) {
    error = name + ": cannot read: larger than 16 MiB";
    return false;
  }
  return readToEnd(fd, name, content, error);  // bounded too: the file may grow while it is read
}

}  // namespace

std::string CardFile::nameOf(std::string const& path) { return path == "-" ? "<stdin>" : path; }

// A file opened without blocking, so that a FIFO without a writer is refused rather than waited
// for. The standard input is read as it is, to its end.
bool CardFile::read(std::string const& path, std::string& content, std::string& error) {
  content.clear();
  if (path == "-") {
    return readToEnd(STDIN_FILENO, nameOf(path), content, error);
  }
  emailservice::FileDescriptor const file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file.isOpen()) {
    error = cannotRead(path, errno);
    return false;
  }
  return readOpenFile(file.get(), path, content, error);
}

bool CardFile::parse(std::string const& content, std::string const& name, proto::CardState& state, std::string& error) {
  FirstErrorCollector collector(name);
  google::protobuf::TextFormat::Parser parser;
  parser.RecordErrorsTo(&collector);
  // Parsed into a temporary so that a malformed file never leaves a half-loaded card.
  proto::CardState parsed;
  if (!parser.ParseFromString(content, &parsed)) {
    error = collector.firstError().empty() ? name + ": cannot parse the card file" : collector.firstError();
    return false;
  }
  state = std::move(parsed);
  return true;
}

bool CardFile::load(std::string const& path, proto::CardState& state, std::string& error) {
  std::string content;
  return read(path, content, error) && parse(content, nameOf(path), state, error);
}

}  // namespace simcard
