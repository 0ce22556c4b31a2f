#include "OptionParser.h"

#include <cctype>
#include <ctime>
#include <iterator>
#include <set>
#include <stdexcept>
#include <utility>

#include "LongOptions.h"
#include "UtcTime.h"

namespace simulator {

namespace {

using emailservice::EventLevel;
using emailservice::EventType;

// One name of an enumerated value.
struct Choice {
  char const* name;
  std::int32_t value;
};

// The names an enumerated value may be given by, in the order the usage lists them, and what its
// number is called. Constant data, so that the tables below need no construction at start-up.
struct Choices {
  Choice const* first;
  std::size_t count;
  char const* number;

  Choice const* begin() const { return first; }
  Choice const* end() const { return first + count; }

  // "periodic, card, ups, test, or a type number"
  std::string text() const {
    std::string listed;
    for (auto const& choice : *this) {
      listed += std::string(choice.name) + ", ";
    }
    return listed + "or a " + number;
  }
};

constexpr Choice kTypeNames[] = {
    {"periodic", EventType::Periodic}, {"card", EventType::Card}, {"ups", EventType::Ups}, {"test", EventType::Test}};
constexpr Choice kLevelNames[] = {
    {"critical", EventLevel::Critical}, {"warning", EventLevel::Warning}, {"informational", EventLevel::Informational}};
constexpr Choice kStateNames[] = {{"active", 1}, {"cleared", 0}};
constexpr Choices kTypes{kTypeNames, std::size(kTypeNames), "type number"};
constexpr Choices kLevels{kLevelNames, std::size(kLevelNames), "level number"};
constexpr Choices kStates{kStateNames, std::size(kStateNames), "state number"};

// A whole decimal 32-bit number, or false.
bool parseNumber(std::string const& text, std::int32_t& value) {
  try {
    std::size_t used = 0;
    int const parsed = std::stoi(text, &used, 10);
    if (used != text.size()) {
      return false;
    }
    value = parsed;
    return true;
  } catch (std::exception const&) {
    return false;
  }
}

// A name of `choices`, in any case, or a number.
bool parseNamed(std::string text, Choices const& choices, std::int32_t& value) {
  for (char& c : text) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  for (auto const& choice : choices) {
    if (text == choice.name) {
      value = choice.value;
      return true;
    }
  }
  return parseNumber(text, value);
}

// What the rows set: a text of the options or of the event as given, a switch, a named value.
template <std::string SimulatorOptions::*field>
bool setText(std::string const& value, SimulatorOptions& options) {
  options.*field = value;
  return true;
}

template <std::string emailservice::EmailEvent::*field>
bool setEventText(std::string const& value, SimulatorOptions& options) {
  options.event.*field = value;
  return true;
}

template <bool SimulatorOptions::*field>
bool turnOn(std::string const&, SimulatorOptions& options) {
  options.*field = true;
  return true;
}

template <std::int32_t emailservice::EmailEvent::*field, Choices const& choices>
bool setNamed(std::string const& value, SimulatorOptions& options) {
  return parseNamed(value, choices, options.event.*field);
}

bool setMaildir(std::string const& value, SimulatorOptions& options) {
  options.maildir = value;
  return !value.empty();
}

bool setSmtp(std::string const& value, SimulatorOptions& options) {
  options.smtpUrl = value;
  return value.compare(0, 7, "smtp://") == 0 && value.size() > 7;
}

bool setLogConfiguration(std::string const& value, SimulatorOptions& options) {
  options.logConfigurationId = value;
  options.logConfigurationGiven = true;
  return true;
}

// One option: where the usage lists it, how it is given, what it says, and what it sets. The
// getopt table, the usage text and the parse are all made from these rows.
struct OptionRow {
  char const* section;     // the usage block the option opens; nullptr: it goes on the block above
  char const* name;        // without the leading "--"
  char letter;             // its short option, or 0
  char const* value;       // what the usage calls its value; nullptr: it takes none
  std::string help;        // lines after the first are indented under the first
  Choices const* choices;  // the accepted names of an enumerated value, listed when a value is bad
  bool (*set)(std::string const& value, SimulatorOptions& options);  // false: the value is bad
};

using emailservice::EmailEvent;

std::vector<OptionRow> const& rows() {
  static std::vector<OptionRow> const table = {
      {"Card", "card", 0, "FILE", "the card file (a simulated card state in protobuf text format)", nullptr,
       setText<&SimulatorOptions::cardFile>},
      {nullptr, "check", 0, nullptr,
       "check the card's e-mail configurations first and print the findings\n"
       "(as emailservice-check does); the event is fired all the same",
       nullptr, turnOn<&SimulatorOptions::check>},
      {"Event record", "type", 0, "TYPE", kTypes.text() + " (required)", &kTypes, setNamed<&EmailEvent::type, kTypes>},
      {nullptr, "date", 0, "TEXT", "the date column of the bodies (default: now, UTC, \"YYYY-MM-DD hh:mm:ss\")",
       nullptr, setEventText<&EmailEvent::date>},
      {nullptr, "level", 0, "LEVEL", kLevels.text() + " (default: informational)", &kLevels,
       setNamed<&EmailEvent::level, kLevels>},
      {nullptr, "code", 0, "TEXT",
       "the event code in hexadecimal; for periodic and test events the id of the\n"
       "configuration the event is for (default: empty)",
       nullptr, setEventText<&EmailEvent::code>},
      {nullptr, "state", 0, "STATE", kStates.text() + " (default: active)", &kStates,
       setNamed<&EmailEvent::state, kStates>},
      {nullptr, "description", 0, "TEXT", "the event description (default: empty)", nullptr,
       setEventText<&EmailEvent::description>},
      {"Delivery (what the card's sendemail command does with the e-mails)", "maildir", 0, "DIR",
       "deliver into the Maildir DIR (default: {maildir})", nullptr, setMaildir},
      {nullptr, "smtp", 0, "smtp://HOST:PORT", "hand the e-mails to this SMTP server instead", nullptr, setSmtp},
      {"Reporting", "log", 0, nullptr,
       "also report the result to the card's log, as the card's event service may,\n"
       "and print the card's log",
       nullptr, turnOn<&SimulatorOptions::logResult>},
      {nullptr, "log-config", 0, "ID",
       "the configuration named in that entry (default: the one whose id is the\n"
       "event's code, else the first one after the template)",
       nullptr, setLogConfiguration},
      {"Outbox (a library built with EMAILSERVICE_OUTBOX or the hardened profile)", "outbox", 0, nullptr,
       "list the e-mails kept because they could not be sent (configuration, subject,\n"
       "recipients, attempts, first attempt, last reason), and do nothing else",
       nullptr, turnOn<&SimulatorOptions::listOutbox>},
      {nullptr, "retry", 0, nullptr,
       "send the kept e-mails again, as the card's service does from a timer,\n"
       "instead of firing an event (no --type)",
       nullptr, turnOn<&SimulatorOptions::retryOnly>},
      {"Other", "help", 'h', nullptr, "this text", nullptr, turnOn<&SimulatorOptions::help>},
      {nullptr, "version", 0, nullptr, "the version of the e-mail service library and the build's profile", nullptr,
       turnOn<&SimulatorOptions::version>},
  };
  return table;
}

// The key getopt_long answers for the row at `index`: its letter, or a number above 255.
int keyOf(std::size_t index) {
  char const letter = rows()[index].letter;
  return letter != 0 ? letter : 256 + static_cast<int>(index);
}

OptionRow const& rowOf(int key) {
  std::vector<OptionRow> const& table = rows();
  for (std::size_t index = 0; index < table.size(); ++index) {
    if (keyOf(index) == key) {
      return table[index];
    }
  }
  throw std::logic_error("no option has the key " + std::to_string(key));
}

tools::LongOptions const& optionTable() {
  static tools::LongOptions const table = [] {
    std::vector<tools::LongOptions::Option> options;
    for (std::size_t index = 0; index < rows().size(); ++index) {
      options.push_back({rows()[index].name, rows()[index].value != nullptr, keyOf(index)});
    }
    return tools::LongOptions(options);
  }();
  return table;
}

// "  --card FILE            the card file ...": the option and its value padded to kLabelWidth
// between two blanks on each side, the help after them, its further lines under its first.
constexpr std::size_t kLabelWidth = 21;
constexpr std::size_t kHelpColumn = 2 + kLabelWidth + 2;

std::string usageLine(OptionRow const& row) {
  std::string label =
      row.letter != 0 ? std::string("-") + row.letter + ", --" + row.name : std::string("--") + row.name;
  if (row.value != nullptr) {
    label += std::string(" ") + row.value;
  }
  std::string line =
      "  " + label + std::string(label.size() < kLabelWidth ? kLabelWidth - label.size() : 0, ' ') + "  ";
  for (char const c : row.help) {
    line += c == '\n' ? "\n" + std::string(kHelpColumn, ' ') : std::string(1, c);
  }
  return line + "\n";
}

}  // namespace

OptionParser::OptionParser(std::string maildir) : defaultMaildir(std::move(maildir)) {}

bool OptionParser::parse(std::vector<std::string> const& args, SimulatorOptions& options, std::string& error) const {
  options = SimulatorOptions{};
  options.event.type = 0;
  // The date column the card's event service would give: now, in UTC.
  options.event.date = emailservice::formatUtc(std::time(nullptr));
  options.event.level = EventLevel::Informational;
  options.event.state = 1;
  options.maildir = defaultMaildir;
  std::set<std::string> seen;
  std::vector<std::string> operands;
  bool const parsed = optionTable().parse(
      args,
      [&](int key, std::string const& value, std::string& failure) {
        OptionRow const& row = rowOf(key);
        if (!seen.insert(row.name).second) {
          failure = "option " + optionTable().nameOf(key) + " given twice";
        } else if (!row.set(value, options)) {
          failure = "bad value '" + value + "' for " + optionTable().nameOf(key) +
                    (row.choices != nullptr ? "; give " + row.choices->text() : "");
        }
        return failure.empty();
      },
      operands, error);
  if (parsed && !operands.empty()) {
    error = "unexpected argument '" + operands.front() + "'";
  }
  return error.empty() && complete(options, seen.count("type") != 0, seen.count("maildir") != 0, error);
}

// Whether a command line that parsed says enough for a run.
bool OptionParser::complete(SimulatorOptions const& options, bool typeGiven, bool maildirGiven, std::string& error) {
  if (options.help || options.version || options.listOutbox) {
    return true;
  }
  if (options.cardFile.empty()) {
    error = "no card file: give --card FILE";
  } else if (!typeGiven && !options.retryOnly) {
    error = "no event type: give --type " + kTypes.text();
  } else if (!options.smtpUrl.empty() && maildirGiven) {
    error = "--maildir and --smtp exclude each other";
  }
  return error.empty();
}

std::string OptionParser::usage(std::string const& program, std::string const& defaultMaildir) {
  std::string text = "Usage: " + program +
                     " --card FILE [--check] --type TYPE [event options] [delivery] [--log [--log-config ID]]\n"
                     "       " +
                     program + " --card FILE --retry [delivery]\n       " + program +
                     " --outbox\n"
                     "\n"
                     "Fires one event at the e-mail service of a simulated card, as the card's event service would,\n"
                     "and reports the result. The card file describes the card: its records (EMAIL_CONFIGURATION,\n"
                     "NETWORK_INTERFACE), devices, alarm history, system logs and measure records.\n";
  for (OptionRow const& row : rows()) {
    if (row.section != nullptr) {
      text += std::string("\n") + row.section + ":\n";
    }
    text += usageLine(row);
  }
  std::string::size_type const slot = text.find("{maildir}");
  text.replace(slot, 9, defaultMaildir);
  return text +
         "\n"
         "Options may be abbreviated as long as they stay unique; names of types, levels and states are\n"
         "read in any case.\n"
         "\n"
         "Exit status: 0 for Success and TestEmailSucceeded, 1 for TestEmailFailed and SendError,\n"
         "2 for a bad command line or card file or output that cannot be written, 3 for Success or\n"
         "TestEmailSucceeded although an e-mail of the event was not sent (a later configuration\n"
         "succeeded; with the outbox it is kept).\n"
         "--retry: 0 when nothing stays kept, 1 otherwise. --outbox: 0, or 2 without the outbox.\n";
}

}  // namespace simulator
