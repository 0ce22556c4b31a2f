// The protobuf text parser's messages about a card file, in the words of the tools' other
// messages: lower case, no closing period, a token shown once quoted, the end of the file named.
// The place (FILE:LINE:COLUMN) is the caller's.
#pragma once

#include <string>

namespace simcard {

class ParseMessage final {
 public:
  // "Expected \":\", found \"\"Operations\"\"." becomes "expected \":\", found \"Operations\"";
  // a message that no rule knows keeps its words, with a lower-case start and no closing period.
  static std::string reword(std::string const& message);
};

}  // namespace simcard
