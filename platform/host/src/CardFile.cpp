#include "simcard/CardFile.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>

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

// Reads the whole file; C streams because they report the cause of a failed read in errno (a
// directory, for one, opens but cannot be read).
bool readWholeFile(std::string const& path, std::string& content, std::string& error) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (!file) {
    error = cannotRead(path, errno);
    return false;
  }
  char buffer[8192];
  std::size_t got;
  errno = 0;
  while ((got = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) {
    content.append(buffer, got);
  }
  if (std::ferror(file.get()) != 0) {
    error = cannotRead(path, errno);
    return false;
  }
  return true;
}

}  // namespace

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
