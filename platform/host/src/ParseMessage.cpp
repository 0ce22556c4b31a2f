#include "simcard/ParseMessage.h"

#include <cctype>
#include <regex>

namespace simcard {

namespace {

// The token the parser stood on, as the parser gives it: a string with its quotes, the empty text
// at the end of the file, else the word or symbol.
std::string token(std::string const& text) {
  if (text.empty()) {
    return "the end of the file";
  }
  return text.front() == '"' || text.front() == '\'' ? text : "\"" + text + "\"";
}

// One message of the parser: its pattern, and our words with $1, $2 for its parts; a part
// named in `tokenPart` is shown by token().
struct Rule {
  char const* pattern;
  char const* words;
  int tokenPart;
};

constexpr Rule kRules[] = {
    {R"re(Message type "([^"]*)" has no field named "([^"]*)"\.)re", "no field \"$2\" in $1", 0},
    {R"re(Non-repeated field "([^"]*)" is specified multiple times\.)re",
     "field \"$1\" given twice (it is not repeated)", 0},
    {R"re(Unknown enumeration value of "([^"]*)" for field "([^"]*)"\.)re", "unknown value \"$1\" for field \"$2\"", 0},
    {R"re(Invalid value for boolean field "([^"]*)"\. Value: "([^"]*)"\.)re",
     "bad value \"$2\" for field \"$1\": give true or false", 0},
    {R"re(Integer out of range \((.*)\))re", "integer out of range: $1", 0},
    {R"re(Couldn't parse integer: (.*))re", "not an integer: $1", 0},
    {R"re(Expected "([^"]*)", found "(.*)"\.)re", "expected \"$1\", found $2", 2},
    {R"re(Expected identifier, got: (.*))re", "expected a field name, found $1", 1},
    {R"re(Expected integer, got: (.*))re", "expected an integer, found $1", 1},
    {R"re(Expected integer or identifier, got: (.*))re", "expected an integer or a name, found $1", 1},
    {R"re(Expected double, got: (.*))re", "expected a number, found $1", 1},
    {R"re(Expected string, got: (.*))re", "expected a string, found $1", 1},
    {R"re(Unexpected end of string\.)re", "the file ends inside a string", 0},
    {R"re(String literals cannot cross line boundaries\.)re", "a string runs past the end of its line", 0},
};

// The parser's own words with a lower-case start (unless it starts an acronym) and no closing
// period.
std::string plain(std::string text) {
  if (text.size() > 1 && std::isupper(static_cast<unsigned char>(text[0])) != 0 &&
      std::isupper(static_cast<unsigned char>(text[1])) == 0) {
    text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  }
  if (!text.empty() && text.back() == '.') {
    text.pop_back();
  }
  return text;
}

}  // namespace

std::string ParseMessage::reword(std::string const& message) {
  for (auto const& rule : kRules) {
    std::smatch parts;
    std::regex const pattern(rule.pattern);
    if (!std::regex_match(message, parts, pattern)) {
      continue;
    }
    std::string words;
    for (char const* at = rule.words; *at != '\0'; ++at) {
      if (*at == '$' && std::isdigit(static_cast<unsigned char>(at[1])) != 0) {
        auto const part = static_cast<std::size_t>(*++at - '0');
        words += static_cast<int>(part) == rule.tokenPart ? token(parts[part].str()) : parts[part].str();
      } else {
        words += *at;
      }
    }
    return words;
  }
  return plain(message);
}

}  // namespace simcard
