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

namespace simcard {

namespace {

// Keeps the first syntax error of a parse, as "PATH:LINE:COLUMN: text" with 1-based numbers.
class FirstErrorCollector final : public google::protobuf::io::ErrorCollector {
 public:
  explicit FirstErrorCollector(std::string const& path) : filePath(path) {}

  void AddError(int line, google::protobuf::io::ColumnNumber column, std::string const& message) override {
    if (!first.empty()) {
      return;
    }
    std::ostringstream text;
    // The parser counts lines and columns from 0; an error not tied to a place has line -1.
    if (line >= 0) {
      text << filePath << ':' << line + 1 << ':' << column + 1 << ": " << message;
    } else {
      text << filePath << ": " << message;
    }
    first = text.str();
  }

  std::string const& firstError() const { return first; }

 private:
  std::string filePath;
  std::string first;
};

std::string cannotRead(std::string const& path, int cause) {
  return path + ": cannot read: " + std::strerror(cause != 0 ? cause : EIO);
}

// Reads the open file `fd` whole, if it is a regular file of at most CardFile::kMaxBytes: a pipe
// or a device (a FIFO, /dev/zero) could block the reader or never end.
bool readRegularFile(int fd, std::string const& path, std::string& content, std::string& error) {
  struct stat status {};
  if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) {
    error = cannotRead(path, S_ISDIR(status.st_mode) ? EISDIR : errno);
    return false;
  }
  if (!S_ISREG(status.st_mode)) {
    error = path + ": cannot read: not a regular file";
    return false;
  }
  std::string const tooLarge = path + ": cannot read: larger than 16 MiB";
  if (static_cast<unsigned long long>(status.st_size) > CardFile::kMaxBytes) {
    error = tooLarge;
    return false;
  }
  char buffer[8192];
  ssize_t got;
  while ((got = emailservice::retryOnInterrupt([&] { return ::read(fd, buffer, sizeof buffer); })) != 0) {
    if (got < 0) {
      error = cannotRead(path, errno);
      return false;
    }
    content.append(buffer, static_cast<std::size_t>(got));
    if (content.size() > CardFile::kMaxBytes) {  // it grew while being read
      error = tooLarge;
      return false;
    }
  }
  return true;
}

// Opened without blocking, so that a FIFO without a writer is refused rather than waited for.
bool readWholeFile(std::string const& path, std::string& content, std::string& error) {
  emailservice::FileDescriptor const file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file.isOpen()) {
    error = cannotRead(path, errno);
    return false;
  }
  return readRegularFile(file.get(), path, content, error);
}

}  // namespace

bool CardFile::read(std::string const& path, std::string& content, std::string& error) {
  return readWholeFile(path, content, error);
}

bool CardFile::load(std::string const& path, proto::CardState& state, std::string& error) {
  std::string content;
  if (!readWholeFile(path, content, error)) {
    return false;
  }
  FirstErrorCollector collector(path);
  google::protobuf::TextFormat::Parser parser;
  parser.RecordErrorsTo(&collector);
  // Parsed into a temporary so that a malformed file never leaves a half-loaded card.
  proto::CardState parsed;
  if (!parser.ParseFromString(content, &parsed)) {
    error = collector.firstError().empty() ? path + ": cannot parse the card file" : collector.firstError();
    return false;
  }
  state = std::move(parsed);
  return true;
}

}  // namespace simcard
