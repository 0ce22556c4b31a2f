#include "email/ShellQuote.h"

namespace emailservice {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }

}  // namespace

std::string ShellQuote::word(std::string const& text) {
  std::string quoted;
  quoted.reserve(text.size() + 2);
  quoted += '\'';
  for (char c : text) {
    if (c == '\'') {
      // Close the quoted part, add an escaped quote, open a new quoted part.
      quoted += "'\\''";
    } else if (c != '\0') {
      quoted += c;
    }
  }
  quoted += '\'';
  return quoted;
}

std::vector<std::string> ShellQuote::splitAtBlanks(std::string const& text) {
  std::vector<std::string> pieces;
  std::string piece;
  for (char c : text) {
    if (!isBlank(c)) {
      piece += c;
    } else if (!piece.empty()) {
      pieces.push_back(piece);
      piece.clear();
    }
  }
  if (!piece.empty()) {
    pieces.push_back(piece);
  }
  return pieces;
}

std::string ShellQuote::words(std::string const& text) {
  std::string withoutNul;
  for (char c : text) {
    if (c != '\0') {
      withoutNul += c;
    }
  }
  std::string quoted;
  for (auto const& piece : splitAtBlanks(withoutNul)) {
    quoted += ' ';
    quoted += word(piece);
  }
  return quoted;
}

}  // namespace emailservice
