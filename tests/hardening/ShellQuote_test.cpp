// The quoting of the hardened mail command, checked against the real shell.
#include "email/ShellQuote.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "zorvan/Exec.h"

namespace emailservice::testing {
namespace {

// The words that /bin/sh makes of `text`, each printed on a line of its own.
std::vector<std::string> wordsOfShell(std::string const& text) {
  std::stringstream output;
  zorvan::exec({"/bin/sh", "-c", "for w in " + text + "; do printf '%s\\n' \"$w\"; done"}, "", 0, &output, nullptr);
  std::vector<std::string> words;
  for (std::string line; std::getline(output, line);) {
    words.push_back(line);
  }
  return words;
}

TEST(ShellQuoteTest, AQuotedWordIsReadBackByTheShellAsTheText) {
  for (std::string const text :
       {"plain", "", "it's", "'", "''", "$(id) `id` ${HOME} $((1+1))", "a b\tc", "*", "\\\"", "; rm -rf / #", "-n"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(wordsOfShell(ShellQuote::word(text)), std::vector<std::string>{text});
  }
}

TEST(ShellQuoteTest, NulBytesAreLeftOut) {
  EXPECT_EQ(ShellQuote::word(std::string("a") + '\0' + "b"), "'ab'");
  EXPECT_EQ(ShellQuote::words(std::string(" a") + '\0' + "b " + '\0'), " 'ab'");
}

TEST(ShellQuoteTest, TextIsSplitAtSpacesTabsAndLineFeedsOnly) {
  struct Case {
    std::string text;
    std::vector<std::string> pieces;
  };
  std::vector<Case> const cases = {
      {"", {}},
      {" \t\n ", {}},
      {"ops@example.com", {"ops@example.com"}},
      {"  a  b\tc\nd  ", {"a", "b", "c", "d"}},
      {"a\rb\vc", {"a\rb\vc"}},
      {"a,b;c", {"a,b;c"}},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(ShellQuote::splitAtBlanks(c.text), c.pieces);
  }
  EXPECT_EQ(ShellQuote::words(" a  b'c "), " 'a' 'b'\\''c'");
  EXPECT_EQ(ShellQuote::words("   "), "");
}

TEST(ShellQuoteTest, UnescapingRemovesOnlyTheBackslashesBeforeQuotesAndBackslashes) {
  EXPECT_EQ(ShellQuote::unescapeDoubleQuoted("a\\\"b"), "a\"b");
  EXPECT_EQ(ShellQuote::unescapeDoubleQuoted("\\\\\\\""), "\\\"");
  EXPECT_EQ(ShellQuote::unescapeDoubleQuoted("\\n\\$"), "\\n\\$");
  EXPECT_EQ(ShellQuote::unescapeDoubleQuoted("end\\"), "end\\");
}

}  // namespace
}  // namespace emailservice::testing
