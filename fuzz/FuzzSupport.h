// Shared pieces of the fuzz targets: reading typed values from the fuzzer's bytes, the card's
// directories, and capturing what the library writes to standard output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

// Every fuzz target defines this entry (libFuzzer's, also called by the corpus replay program).
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace emailservice::fuzz {

// Ends the process with a message when a property does not hold: libFuzzer saves the input that
// did this, and the replay program fails.
[[noreturn]] void fail(char const* what, std::string const& detail = "");

inline void check(bool holds, char const* what, std::string const& detail = "") {
  if (!holds) {
    fail(what, detail);
  }
}

// Reads the fuzzer's bytes front to back; every read past the end gives zeros or the empty text,
// so any input decodes to some value.
class FuzzInput {
 public:
  FuzzInput(std::uint8_t const* bytes, std::size_t length) : data(bytes), size(length) {}

  std::uint8_t byte();
  std::int32_t int32();
  std::int64_t int64();
  // A text of at most `maxLength` bytes: one length byte (scaled to maxLength), then the text.
  std::string text(std::size_t maxLength = 255);
  // Everything not read yet.
  std::string rest();
  bool empty() const { return position >= size; }

 private:
  std::uint8_t const* data;
  std::size_t size;
  std::size_t position = 0;
};

// Creates the card's work and log directories once per process (and empties nothing).
void prepareCardDirectories();

// Takes over std::cout, through which the library writes its standard-output lines, for the
// rest of the process, so that what is written can be read back. (Output written to standard
// output by any other means is not captured: a property that expects a line then fails.)
class StdoutCapture {
 public:
  StdoutCapture();
  ~StdoutCapture();
  StdoutCapture(StdoutCapture const&) = delete;
  StdoutCapture& operator=(StdoutCapture const&) = delete;

  // What was written since the last call; the capture starts empty again.
  std::string take();

 private:
  std::ostringstream captured;
  std::streambuf* original;
};

// Whole file, or the empty text when it cannot be read.
std::string readWholeFile(std::string const& path);
void writeWholeFile(std::string const& path, std::string const& content);

}  // namespace emailservice::fuzz
