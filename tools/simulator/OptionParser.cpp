#include "OptionParser.h"

#include <cctype>
#include <ctime>
#include <map>
#include <set>
#include <stdexcept>

#include "LongOptions.h"

namespace simulator {

namespace {

using emailservice::EventLevel;
using emailservice::EventType;

// The options' keys: "-h" has its letter, the others are long only.
enum Key : int {
  kCard = 256,
  kType,
  kDate,
  kLevel,
  kCode,
  kState,
  kDescription,
  kMaildir,
  kSmtp,
  kLog,
  kLogConfig,
  kCheck,
  kVersion,
  kOutbox,
  kRetry,
};

tools::LongOptions const& optionTable() {
  static tools::LongOptions const table({{"card", true, kCard},
                                         {"type", true, kType},
                                         {"date", true, kDate},
                                         {"level", true, kLevel},
                                         {"code", true, kCode},
                                         {"state", true, kState},
                                         {"description", true, kDescription},
                                         {"maildir", true, kMaildir},
                                         {"smtp", true, kSmtp},
                                         {"log", false, kLog},
                                         {"log-config", true, kLogConfig},
                                         {"check", false, kCheck},
                                         {"outbox", false, kOutbox},
                                         {"retry", false, kRetry},
                                         {"help", false, 'h'},
                                         {"version", false, kVersion}});
  return table;
}

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

// A name of `names`, in any case, or a number.
bool parseNamed(std::string text, std::map<std::string, std::int32_t> const& names, std::int32_t& value) {
  for (char& c : text) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  auto const found = names.find(text);
  if (found != names.end()) {
    value = found->second;
    return true;
  }
  return parseNumber(text, value);
}

using Names = std::map<std::string, std::int32_t>;

Names const& typeNames() {
  static Names const names = {
      {"periodic", EventType::Periodic}, {"card", EventType::Card}, {"ups", EventType::Ups}, {"test", EventType::Test}};
  return names;
}

Names const& levelNames() {
  static Names const names = {{"critical", EventLevel::Critical},
                              {"warning", EventLevel::Warning},
                              {"informational", EventLevel::Informational}};
  return names;
}

Names const& stateNames() {
  static Names const names = {{"active", 1}, {"cleared", 0}};
  return names;
}

// The date column the card's event service would give: now, in UTC.
std::string now() {
  std::time_t const seconds = std::time(nullptr);
  std::tm broken{};
  gmtime_r(&seconds, &broken);
  char text[32];
  std::size_t const length = std::strftime(text, sizeof text, "%F %T", &broken);
  return std::string(text, length);
}

}  // namespace

OptionParser::OptionParser(std::string maildir) : defaultMaildir(std::move(maildir)) {}

bool OptionParser::parse(std::vector<std::string> const& args, SimulatorOptions& options, std::string& error) const {
  options = SimulatorOptions{};
  options.event.type = 0;
  options.event.date = now();
  options.event.level = EventLevel::Informational;
  options.event.state = 1;
  options.maildir = defaultMaildir;
  std::set<int> seen;
  std::vector<std::string> operands;
  bool const parsed = optionTable().parse(
      args,
      [&](int key, std::string const& value, std::string& failure) {
        if (!seen.insert(key).second) {
          failure = "option " + optionTable().nameOf(key) + " given twice";
          return false;
        }
        return apply(key, value, options, failure);
      },
      operands, error);
  if (parsed && !operands.empty()) {
    error = "unexpected argument '" + operands.front() + "'";
  }
  return error.empty() && complete(options, seen.count(kType) != 0, seen.count(kMaildir) != 0, error);
}

// Whether a command line that parsed says enough for a run.
bool OptionParser::complete(SimulatorOptions const& options, bool typeGiven, bool maildirGiven, std::string& error) {
  if (options.help || options.version || options.listOutbox) {
    return true;
  }
  if (options.cardFile.empty()) {
    error = "no card file: give --card FILE";
  } else if (!typeGiven && !options.retryOnly) {
    error = "no event type: give --type periodic|card|ups|test|NUMBER";
  } else if (!options.smtpUrl.empty() && maildirGiven) {
    error = "--maildir and --smtp exclude each other";
  }
  return error.empty();
}

bool OptionParser::apply(int key, std::string const& value, SimulatorOptions& options, std::string& error) const {
  emailservice::EmailEvent& event = options.event;
  bool valid = true;
  switch (key) {
    case 'h':
      options.help = true;
      break;
    case kVersion:
      options.version = true;
      break;
    case kLog:
      options.logResult = true;
      break;
    case kCheck:
      options.check = true;
      break;
    case kOutbox:
      options.listOutbox = true;
      break;
    case kRetry:
      options.retryOnly = true;
      break;
    case kCard:
      options.cardFile = value;
      break;
    case kType:
      valid = parseNamed(value, typeNames(), event.type);
      break;
    case kLevel:
      valid = parseNamed(value, levelNames(), event.level);
      break;
    case kState:
      valid = parseNamed(value, stateNames(), event.state);
      break;
    case kDate:
      event.date = value;
      break;
    case kCode:
      event.code = value;
      break;
    case kDescription:
      event.description = value;
      break;
    case kMaildir:
      options.maildir = value;
      valid = !value.empty();
      break;
    case kSmtp:
      options.smtpUrl = value;
      valid = value.compare(0, 7, "smtp://") == 0 && value.size() > 7;
      break;
    case kLogConfig:
      options.logConfigurationId = value;
      options.logConfigurationGiven = true;
      break;
    default:
      break;
  }
  if (!valid) {
    error = "bad value '" + value + "' for " + optionTable().nameOf(key);
  }
  return valid;
}

std::string OptionParser::usage(std::string const& program, std::string const& defaultMaildir) {
  return "Usage: " + program +
         " --card FILE [--check] --type TYPE [event options] [delivery] [--log [--log-config ID]]\n"
         "       " +
         program +
         " --card FILE --retry [delivery]\n"
         "       " +
         program +
         " --outbox\n"
         "\n"
         "Fires one event at the e-mail service of a simulated card, as the card's event service would,\n"
         "and reports the result. The card file describes the card: its records (EMAIL_CONFIGURATION,\n"
         "NETWORK_INTERFACE), devices, alarm history, system logs and measure records.\n"
         "\n"
         "Card:\n"
         "  --card FILE            the card file (a simulated card state in protobuf text format)\n"
         "  --check                check the card's e-mail configurations first and print the findings\n"
         "                         (as emailservice-check does); the event is fired all the same\n"
         "\n"
         "Event record:\n"
         "  --type TYPE            periodic, card, ups, test, or a type number (required)\n"
         "  --date TEXT            the date column of the bodies (default: now, UTC, \"YYYY-MM-DD hh:mm:ss\")\n"
         "  --level LEVEL          critical, warning, informational, or a level number (default: informational)\n"
         "  --code TEXT            the event code in hexadecimal; for periodic and test events the id of the\n"
         "                         configuration the event is for (default: empty)\n"
         "  --state STATE          active, cleared, or a state number (default: active)\n"
         "  --description TEXT     the event description (default: empty)\n"
         "\n"
         "Delivery (what the card's sendemail command does with the e-mails):\n"
         "  --maildir DIR          deliver into the Maildir DIR (default: " +
         defaultMaildir +
         ")\n"
         "  --smtp smtp://HOST:PORT  hand the e-mails to this SMTP server instead\n"
         "\n"
         "Reporting:\n"
         "  --log                  also report the result to the card's log, as the card's event service may,\n"
         "                         and print the card's log\n"
         "  --log-config ID        the configuration named in that entry (default: the one whose id is the\n"
         "                         event's code, else the first one after the template)\n"
         "\n"
         "Outbox (a library built with EMAILSERVICE_OUTBOX or the hardened profile):\n"
         "  --outbox               list the e-mails kept because they could not be sent (configuration,\n"
         "                         subject, recipients, attempts, first attempt, last reason), and nothing else\n"
         "  --retry                send the kept e-mails again, as the card's service does from a timer,\n"
         "                         instead of firing an event (no --type)\n"
         "\n"
         "  -h, --help             this text\n"
         "  --version              the version of the e-mail service library\n"
         "\n"
         "Options may be abbreviated as long as they stay unique; names of types, levels and states are\n"
         "read in any case.\n"
         "\n"
         "Exit status: 0 for Success and TestEmailSucceeded, 1 for TestEmailFailed and SendError,\n"
         "2 for a bad command line or card file, 3 for Success or TestEmailSucceeded although an e-mail\n"
         "of the event was not sent (a later configuration succeeded; with the outbox it is kept).\n"
         "--retry: 0 when nothing stays kept, 1 otherwise. --outbox: 0, or 2 without the outbox.\n";
}

}  // namespace simulator
