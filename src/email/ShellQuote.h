// Quoting for the POSIX shell, used by the hardened mail submission: every piece of the mail
// command that comes from data becomes words that the shell takes literally.
#pragma once

#include <string>
#include <vector>

namespace emailservice {

class ShellQuote final {
 public:
  // One shell word that stands for `text` exactly: the text between single quotes, each single
  // quote written as '\''. A NUL byte cannot be part of a program argument and would cut the
  // command text short, so NUL bytes are left out.
  static std::string word(std::string const& text);

  // The pieces of `text` between blanks (space, tab, line feed), in order; runs of blanks and
  // blanks at either end give no empty piece. This is how the shell splits an unquoted text.
  static std::vector<std::string> splitAtBlanks(std::string const& text);

  // Each piece of `text` between blanks as its own quoted word, each preceded by one blank; the
  // empty text when `text` holds nothing but blanks. NUL bytes are left out before the split.
  static std::string words(std::string const& text);

  ShellQuote() = delete;
};

}  // namespace emailservice
