// An event code list of a configuration (exceptionEvents, excludedEvents) read the way the
// service's filters read it: split at every "," by the platform's splitter, each entry parsed as
// a signed 32-bit hexadecimal number by the standard conversion (leading blanks, a sign and a
// "0x" are accepted; the conversion stops at the first character that is not a digit).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace emailservice::check {

struct CodeEntry {
  std::string text;         // as written
  bool parses = false;      // false: the filters' conversion fails on it
  bool outOfRange = false;  // it fails because the number does not fit 32 signed bits
  std::int32_t value = 0;
  std::string read;     // the part that the conversion reads, leading blanks left out
  std::string ignored;  // what the conversion leaves after the code, when it is not just blanks
};

class CodeList final {
 public:
  explicit CodeList(std::string const& text);

  std::vector<CodeEntry> const& entries() const { return codes; }
  // Index of the first entry that does not parse, or entries().size(): the filter stops there,
  // so the entries before it are the only ones ever compared.
  std::size_t firstBad() const;

 private:
  std::vector<CodeEntry> codes;
};

}  // namespace emailservice::check
