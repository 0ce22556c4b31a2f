// What the POSIX shell makes of configured text in the default build's mail command, where the
// recipients and the body file path are unquoted words and the subject sits inside double quotes.
#pragma once

#include <string>

namespace emailservice::check {

class ShellText final {
 public:
  // The first character of `word` that the shell does not take literally in an unquoted word
  // (blanks, operators, quotes, "$", globs, a line feed; "#" and "~" at its start), or the
  // empty text when it has none. `atWordStart`: the word begins with the first character.
  static std::string unquotedSpecial(std::string const& word, bool atWordStart);

  // The start of the first expansion that the shell performs in `text` inside double quotes
  // ("$(", "${", "$NAME", "$1", "$?", ...), or the empty text when there is none. A "$" before
  // anything else stays a plain "$".
  static std::string doubleQuotedExpansion(std::string const& text);

  ShellText() = delete;
};

}  // namespace emailservice::check
