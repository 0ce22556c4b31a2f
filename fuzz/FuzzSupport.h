// Shared pieces of the fuzz targets: the property check, reading typed values from the fuzzer's
// bytes, the card's directories, whole files, and the shell's reading of a double-quoted subject.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "CardPaths.h"

// Every fuzz target defines this entry (libFuzzer's, also called by the corpus replay program).
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace emailservice::fuzz {

// Ends the process with a message when a property does not hold: libFuzzer saves the input that
// did this, and the replay program fails.
inline void check(bool holds, char const* what, std::string const& detail = "") {
  if (!holds) {
    std::fprintf(stderr, "\nfuzz property violated: %s\n%s\n", what, detail.c_str());
    std::abort();
  }
}

// Reads the fuzzer's bytes front to back; every read past the end gives zeros or the empty text,
// so any input decodes to some value. Numbers are big-endian.
class FuzzInput {
 public:
  FuzzInput(std::uint8_t const* bytes, std::size_t length) : data(bytes), size(length) {}

  std::uint8_t byte() { return position < size ? data[position++] : 0; }
  std::int32_t int32() { return static_cast<std::int32_t>(number(4)); }
  std::int64_t int64() { return static_cast<std::int64_t>(number(8)); }
  // A text of at most `maxLength` bytes: one length byte (scaled up to a maxLength over 255,
  // wrapped around a smaller one), then the text.
  std::string text(std::size_t maxLength = 255) {
    std::size_t const length = byte();
    return take(maxLength > 255 ? length * maxLength / 255 : length % (maxLength + 1));
  }
  // Everything not read yet.
  std::string rest() { return take(size); }

 private:
  std::uint64_t number(int bytes) {
    std::uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) {
      value = (value << 8) | byte();
    }
    return value;
  }
  std::string take(std::size_t length) {
    length = std::min(length, size - std::min(position, size));
    std::string value(reinterpret_cast<char const*>(data + std::min(position, size)), length);
    position += length;
    return value;
  }

  std::uint8_t const* data;
  std::size_t size;
  std::size_t position = 0;
};

// Creates the card's work, log and measures directories once per process (and empties nothing).
inline void prepareCardDirectories() {
  static bool const prepared = [] {
    for (char const* directory : {paths::kWorkDirectory, paths::kPersistentDirectory, paths::kSystemLogDirectory,
                                  paths::kUpsMeasuresDirectory, paths::kSensorMeasuresDirectory}) {
      std::filesystem::create_directories(directory);
    }
    return true;
  }();
  static_cast<void>(prepared);
}

// Whole file, or the empty text when it cannot be read.
inline std::string readWholeFile(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeWholeFile(std::string const& path, std::string const& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(content.data(), static_cast<std::streamsize>(content.size()));
}

// What the shell reads from the inside of the double-quoted word that `quoted` opens before `at`,
// into `text`; returns the position after the closing quote. The property fails where a
// backquote would substitute a command, where a backslash escapes anything but a double quote
// or a backslash (only those two are escaped), and where the quote is not closed.
inline std::size_t readDoubleQuoted(std::string const& quoted, std::size_t at, std::string& text) {
  for (; at < quoted.size() && quoted[at] != '"'; ++at) {
    check(quoted[at] != '`', "no backquote in the escaped subject", quoted);
    if (quoted[at] == '\\') {
      check(at + 1 < quoted.size() && (quoted[at + 1] == '"' || quoted[at + 1] == '\\'),
            "every backslash of the escaped subject escapes a double quote or a backslash", quoted);
      ++at;
    }
    text += quoted[at];
  }
  check(at < quoted.size(), "the subject's double quotes are closed", quoted);
  return at + 1;
}

// The text that the shell reads from `quoted` when it is made only of single-quoted parts and
// backslash-escaped single quotes; anything else fails the property.
inline std::string readSingleQuoted(std::string const& quoted) {
  check(!quoted.empty() && quoted.find('\0') == std::string::npos, "a quoted word is not empty and holds no NUL");
  std::string text;
  for (std::size_t i = 0; i < quoted.size();) {
    if (quoted.compare(i, 2, "\\'") == 0) {
      text += '\'';
      i += 2;
      continue;
    }
    auto const close = quoted.find('\'', i + 1);
    check(quoted[i] == '\'' && close != std::string::npos, "a quoted word is made of closed '...' parts and \\'",
          quoted);
    text += quoted.substr(i + 1, close - i - 1);
    i = close + 1;
  }
  return text;
}

}  // namespace emailservice::fuzz
