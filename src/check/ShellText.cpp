#include "check/ShellText.h"

#include <cctype>
#include <cstring>

namespace emailservice::check {

namespace {

// Special wherever they stand in an unquoted word: blanks, which split it, operators, quotes,
// expansion, globs, and the line feed, which ends the command.
constexpr char const kAlwaysSpecial[] = " \t|&;<>()$`\\\"'*?[\n";
// Special at the start of a word only: a comment, and tilde expansion.
constexpr char const kSpecialAtStart[] = "#~";
// What may follow "$" to make an expansion: a name, a digit, a special parameter, "(" or "{".
constexpr char const kSpecialParameters[] = "@*#?$!-({";

bool among(char c, char const* set) { return c != '\0' && std::strchr(set, c) != nullptr; }

}  // namespace

std::string ShellText::unquotedSpecial(std::string const& word, bool atWordStart) {
  for (std::string::size_type i = 0; i < word.size(); ++i) {
    if (among(word[i], kAlwaysSpecial) || (i == 0 && atWordStart && among(word[i], kSpecialAtStart))) {
      return word.substr(i, 1);
    }
  }
  return {};
}

std::string ShellText::doubleQuotedExpansion(std::string const& text) {
  for (std::string::size_type i = 0; i + 1 < text.size(); ++i) {
    auto const next = static_cast<unsigned char>(text[i + 1]);
    if (text[i] == '$' && (std::isalnum(next) != 0 || next == '_' || among(text[i + 1], kSpecialParameters))) {
      return text.substr(i, 2);
    }
  }
  return {};
}

}  // namespace emailservice::check
