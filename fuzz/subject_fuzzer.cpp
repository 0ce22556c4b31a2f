// Subject escaping on any subject, and the shell quoting of the hardened mail command.
// Input: the subject, whole.
// Properties:
// - the escaped subject is a valid inside of a double-quoted shell word that holds no command
//   substitution by backquote: every double quote and backslash is escaped, no backquote is left;
// - undoing the escaping gives the subject back with backquotes turned into single quotes;
// - ShellQuote::word of any text is a single-quoted shell word standing for the text (NUL bytes
//   left out), and ShellQuote::unescapeDoubleQuoted undoes the escaping.
#include <string>

#include "CardPaths.h"
#include "FuzzSupport.h"
#include "cdsapi/CdsAccessor.h"
#include "email/EmailGlobalConfig.h"
#include "email/ShellQuote.h"
#include "emailservice/EmailEvent.h"
#include "logfiles/SystemEventLogFile.h"

namespace {

using emailservice::fuzz::check;

// A kind with nothing to attach, to reach the base's subject handling.
class SubjectProbe final : public emailservice::EmailGlobalConfig {
 public:
  using EmailGlobalConfig::EmailGlobalConfig;
  void attachLogFiles() override {}
  void setSubject(std::string text) { subject = std::move(text); }
};

// What the shell makes of `escaped` between double quotes, as far as the characters that stay
// special there are concerned; a character that would end the quoting or substitute a command
// fails the property.
std::string readDoubleQuoted(std::string const& escaped) {
  std::string text;
  for (std::string::size_type i = 0; i < escaped.size(); ++i) {
    char const c = escaped[i];
    check(c != '"', "no unescaped double quote in the escaped subject", escaped);
    check(c != '`', "no backquote in the escaped subject", escaped);
    if (c == '\\') {
      check(i + 1 < escaped.size() && (escaped[i + 1] == '"' || escaped[i + 1] == '\\'),
            "every backslash of the escaped subject escapes a double quote or a backslash", escaped);
      ++i;
    }
    text += escaped[i];
  }
  return text;
}

// The text that the shell reads from `quoted` when it is made only of single-quoted parts and
// backslash-escaped single quotes; anything else fails the property.
std::string readSingleQuoted(std::string const& quoted) {
  std::string text;
  std::string::size_type i = 0;
  while (i < quoted.size()) {
    if (quoted.compare(i, 2, "\\'") == 0) {
      text += '\'';
      i += 2;
      continue;
    }
    check(quoted[i] == '\'', "a quoted word is made of single-quoted parts and \\'", quoted);
    auto const close = quoted.find('\'', i + 1);
    check(close != std::string::npos, "every single-quoted part is closed", quoted);
    text += quoted.substr(i + 1, close - i - 1);
    i = close + 1;
  }
  check(!quoted.empty(), "a quoted word is never empty, even for the empty text");
  check(quoted.find('\0') == std::string::npos, "a quoted word holds no NUL byte");
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static cdsapi::CdsAccessor accessor;
  static emailservice::EmailEvent const event{emailservice::EventType::Test, "", 1, "", 0, ""};
  static emailservice::SystemEventLogFile logs(emailservice::paths::kWorkDirectory);
  static std::string const messageFileName = std::string(emailservice::paths::kWorkDirectory) + "fuzz.txt";
  static SubjectProbe probe(accessor, event, logs, messageFileName);

  std::string const original(reinterpret_cast<char const*>(data), size);
  probe.setSubject(original);
  probe.escapeSubjectChars();
  std::string const escaped = probe.getSubject();

  std::string withQuotes;
  std::string withoutNul;
  for (char c : original) {
    withQuotes += c == '`' ? '\'' : c;
    if (c != '\0') {
      withoutNul += c;
    }
  }
  check(readDoubleQuoted(escaped) == withQuotes, "unescaping gives the subject with backquotes as single quotes",
        escaped);
  check(emailservice::ShellQuote::unescapeDoubleQuoted(escaped) == withQuotes,
        "ShellQuote::unescapeDoubleQuoted undoes the escaping", escaped);
  check(readSingleQuoted(emailservice::ShellQuote::word(original)) == withoutNul,
        "ShellQuote::word stands for the text", original);
  return 0;
}
