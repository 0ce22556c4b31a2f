// Hostile texts for the mail command, with what each one does when it reaches the default
// build's command text inside the double-quoted subject and among the unquoted recipients.
#pragma once

#include <string>
#include <vector>

namespace emailservice::testing {

// What a value did to the run of the mail command.
enum class Effect {
  Harmless,    // sendemail ran and received exactly the intended words
  Altered,     // sendemail ran, but the shell changed the words (expansion, quote removal, globbing, a cut)
  NotSent,     // the shell never ran sendemail (syntax error, failed expansion or redirection)
  CommandRan,  // a command of the value ran or one of its redirections wrote a file
};

inline char const* effectName(Effect effect) {
  switch (effect) {
    case Effect::Harmless:
      return "harmless";
    case Effect::Altered:
      return "altered";
    case Effect::NotSent:
      return "not sent";
    case Effect::CommandRan:
      return "command ran";
  }
  return "?";
}

// `value` may hold "@M@", the path of the marker file that a command of the value would create.
struct HostileValue {
  std::string name;
  std::string value;
  Effect inSubject;     // default build, inside the double-quoted subject
  Effect inRecipients;  // default build, among the unquoted recipients
};

// The base values; hostileValues() adds each one behind an ordinary word as well.
inline std::vector<HostileValue> baseHostileValues() {
  using E = Effect;
  std::string const kilobytes64(64 * 1024, 'a');
  std::string words64;
  while (words64.size() < 64 * 1024) {
    words64 += "ops@example.com ";
  }
  return {
      {"ordinary address", "ops@example.com", E::Harmless, E::Harmless},
      {"ordinary name", "Room 2 UPS", E::Harmless, E::Harmless},
      {"dollar command substitution", "$(touch @M@)", E::CommandRan, E::CommandRan},
      {"backquote command substitution", "`touch @M@`", E::Harmless, E::CommandRan},
      {"nested substitution", "$(printf 'touch @M@' | sh)", E::CommandRan, E::CommandRan},
      {"substitution with redirection", "$(id>@M@)", E::CommandRan, E::CommandRan},
      {"escaped dollar", "\\$(touch @M@)", E::CommandRan, E::NotSent},
      {"default value with backquotes", "${EMAILSERVICE_UNSET:=`touch @M@`}", E::Altered, E::CommandRan},
      {"semicolon", "; touch @M@", E::Harmless, E::CommandRan},
      {"semicolon without blank", ";touch @M@", E::Harmless, E::CommandRan},
      {"pipe", "| touch @M@", E::Harmless, E::CommandRan},
      {"or list", "|| touch @M@", E::Harmless, E::Altered},
      {"and list", "&& touch @M@", E::Harmless, E::CommandRan},
      {"background", "& touch @M@", E::Harmless, E::CommandRan},
      {"output redirection", "> @M@", E::Harmless, E::CommandRan},
      {"appending redirection", ">> @M@", E::Harmless, E::CommandRan},
      {"error redirection", "2>@M@", E::Harmless, E::CommandRan},
      {"input redirection", "< /etc/passwd", E::Harmless, E::Altered},
      {"redirection inside a word", "a>stray", E::Harmless, E::CommandRan},
      {"line feed then command", "\ntouch @M@", E::Harmless, E::CommandRan},
      {"semicolon inside a word", "a;true", E::Harmless, E::Altered},
      {"pipe inside a word", "a|true", E::Harmless, E::Altered},
      {"ampersand inside a word", "a&true", E::Harmless, E::Altered},
      {"home variable", "$HOME", E::Altered, E::Altered},
      {"braced variable", "${PATH}", E::Altered, E::Altered},
      {"arithmetic", "$((6*7))", E::Altered, E::Altered},
      {"process id", "$$", E::Altered, E::Altered},
      {"field separator", "$IFS", E::Altered, E::Altered},
      {"pattern removal", "${HOME%/*}", E::Altered, E::Altered},
      {"failing expansion", "${EMAILSERVICE_UNSET:?boom}", E::NotSent, E::NotSent},
      {"unterminated substitution", "$(", E::NotSent, E::NotSent},
      {"star glob", "*", E::Harmless, E::Altered},
      {"bracket glob", "[g]*", E::Harmless, E::Altered},
      {"absolute glob", "/etc/pass*", E::Harmless, E::Altered},
      {"question mark glob without match", "?", E::Harmless, E::Harmless},
      {"glob without match", "nomatch-*.csv", E::Harmless, E::Harmless},
      {"tilde", "~", E::Harmless, E::Altered},
      {"tilde user", "~root", E::Harmless, E::Altered},
      {"braces", "{a,b}", E::Harmless, E::Harmless},
      {"exclamation mark", "!", E::Harmless, E::Harmless},
      {"comment", "#x", E::Harmless, E::Altered},
      {"hash inside a word", "a#b", E::Harmless, E::Harmless},
      {"single quote", "'", E::Harmless, E::NotSent},
      {"apostrophe in a word", "it's", E::Harmless, E::NotSent},
      {"double quote", "\"", E::Harmless, E::NotSent},
      {"single-quoted words", "'a b'", E::Harmless, E::Altered},
      {"double-quoted words", "\"a b\"", E::Harmless, E::Altered},
      {"single quotes around a command", "'; touch @M@; '", E::Harmless, E::Altered},
      {"double quotes around a command", "\"; touch @M@; \"", E::Harmless, E::Altered},
      {"quote escape attempt", "\\\"; touch @M@; \"", E::Harmless, E::NotSent},
      {"backslash", "\\", E::Harmless, E::Altered},
      {"backslash inside a word", "a\\b", E::Harmless, E::Altered},
      {"backslash and letter", "\\n", E::Harmless, E::Altered},
      {"lone backquote", "`", E::Harmless, E::NotSent},
      {"opening parenthesis", "(", E::Harmless, E::NotSent},
      {"closing parenthesis", ")", E::Harmless, E::NotSent},
      {"process substitution", "<(touch @M@)", E::Harmless, E::NotSent},
      {"leading hyphen", "-rf", E::Harmless, E::Harmless},
      {"long option", "--help", E::Harmless, E::Harmless},
      {"option with value", "-s evil", E::Harmless, E::Harmless},
      {"tab", "a\tb", E::Harmless, E::Harmless},
      {"carriage return", "a\rb", E::Harmless, E::Harmless},
      {"vertical tab and form feed", "a\v\fb", E::Harmless, E::Harmless},
      {"escape sequence", "\x1b[31mred", E::Harmless, E::Harmless},
      {"format directives", "%s%n%x", E::Harmless, E::Harmless},
      {"comma list", "ops@example.com,root@localhost", E::Harmless, E::Harmless},
      {"invalid UTF-8", "\xff\xfe\x80", E::Harmless, E::Harmless},
      {"overlong UTF-8 slash", "\xc0\xaf", E::Harmless, E::Harmless},
      {"NUL byte before a command", std::string("A") + '\0' + "$(touch @M@)", E::NotSent, E::Altered},
      {"64 KiB word", kilobytes64, E::Harmless, E::Harmless},
      {"64 KiB of words", words64, E::Harmless, E::Harmless},
      {"64 KiB then substitution", kilobytes64 + "$(touch @M@)", E::CommandRan, E::CommandRan},
  };
}

// The base values alone and behind an ordinary word ("ok "), with the same effects.
inline std::vector<HostileValue> hostileValues() {
  std::vector<HostileValue> values = baseHostileValues();
  for (auto const& base : baseHostileValues()) {
    if (base.value.size() < 1024) {
      values.push_back({base.name + ", after a word", "ok " + base.value, base.inSubject, base.inRecipients});
    }
  }
  return values;
}

}  // namespace emailservice::testing
