// Subject escaping on any subject, and the shell quoting of the hardened mail command.
// Input: the subject, whole.
// Properties:
// - the escaped subject is a valid inside of a double-quoted shell word that holds no command
//   substitution by backquote: every double quote and backslash is escaped, no backquote is left;
// - the shell reads it back as the subject with backquotes turned into single quotes;
// - ShellQuote::word of any text is a single-quoted shell word standing for the text (NUL bytes
//   left out).
#include <algorithm>
#include <string>

#include "FuzzSupport.h"
#include "cdsapi/CdsAccessor.h"
#include "email/EmailGlobalConfig.h"
#include "email/ShellQuote.h"
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

  std::string withQuotes = original;
  std::replace(withQuotes.begin(), withQuotes.end(), '`', '\'');
  std::string withoutNul = original;
  withoutNul.erase(std::remove(withoutNul.begin(), withoutNul.end(), '\0'), withoutNul.end());
  std::string read;
  check(emailservice::fuzz::readDoubleQuoted(escaped + '"', 0, read) == escaped.size() + 1,
        "no unescaped double quote in the escaped subject", escaped);
  check(read == withQuotes, "unescaping gives the subject with backquotes as single quotes", escaped);
  check(emailservice::fuzz::readSingleQuoted(emailservice::ShellQuote::word(original)) == withoutNul,
        "ShellQuote::word stands for the text", original);
  return 0;
}
