#include "OptionParser.h"

#include <ctime>
#include <map>
#include <set>
#include <stdexcept>

namespace simulator {

namespace {

using emailservice::EventLevel;
using emailservice::EventType;

// Options that take no value.
std::set<std::string> const& flagOptions() {
  static std::set<std::string> const names = {"--help", "--log"};
  return names;
}

// Options that take a value.
std::set<std::string> const& valuedOptions() {
  static std::set<std::string> const names = {"--card",  "--type",    "--date", "--level",       "--code",
                                              "--state", "--maildir", "--smtp", "--description", "--log-config"};
  return names;
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

// A name of `names` or a number.
bool parseNamed(std::string const& text, std::map<std::string, std::int32_t> const& names, std::int32_t& value) {
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
  bool typeGiven = false;
  std::set<std::string> seen;

  for (std::size_t i = 0; i < args.size(); ++i) {
    std::string name = args[i];
    std::string value;
    bool hasValue = false;
    std::size_t const equals = name.find('=');
    if (name.compare(0, 2, "--") == 0 && equals != std::string::npos) {
      value = name.substr(equals + 1);
      name.resize(equals);
      hasValue = true;
    }
    if (name == "-h") {
      name = "--help";
    }
    bool const flag = flagOptions().count(name) != 0;
    if (!flag && valuedOptions().count(name) == 0) {
      error = "unknown option '" + args[i] + "'";
      return false;
    }
    if (!seen.insert(name).second) {
      error = "option " + name + " given twice";
      return false;
    }
    if (flag && hasValue) {
      error = "option " + name + " takes no value";
      return false;
    }
    if (!flag && !hasValue) {
      if (i + 1 == args.size()) {
        error = "option " + name + " needs a value";
        return false;
      }
      value = args[++i];
    }
    if (!apply(name, value, options, error)) {
      return false;
    }
    typeGiven = typeGiven || name == "--type";
  }

  if (options.help) {
    return true;
  }
  if (options.cardFile.empty()) {
    error = "no card file: give --card FILE";
    return false;
  }
  if (!typeGiven) {
    error = "no event type: give --type periodic|card|ups|test|NUMBER";
    return false;
  }
  if (!options.smtpUrl.empty() && seen.count("--maildir") != 0) {
    error = "--maildir and --smtp exclude each other";
    return false;
  }
  return true;
}

bool OptionParser::apply(std::string const& name, std::string const& value, SimulatorOptions& options,
                         std::string& error) const {
  emailservice::EmailEvent& event = options.event;
  bool valid = true;
  if (name == "--help") {
    options.help = true;
  } else if (name == "--log") {
    options.logResult = true;
  } else if (name == "--card") {
    options.cardFile = value;
  } else if (name == "--type") {
    valid = parseNamed(value, typeNames(), event.type);
  } else if (name == "--level") {
    valid = parseNamed(value, levelNames(), event.level);
  } else if (name == "--state") {
    valid = parseNamed(value, stateNames(), event.state);
  } else if (name == "--date") {
    event.date = value;
  } else if (name == "--code") {
    event.code = value;
  } else if (name == "--description") {
    event.description = value;
  } else if (name == "--maildir") {
    options.maildir = value;
    valid = !value.empty();
  } else if (name == "--smtp") {
    options.smtpUrl = value;
    valid = value.compare(0, 7, "smtp://") == 0 && value.size() > 7;
  } else if (name == "--log-config") {
    options.logConfigurationId = value;
    options.logConfigurationGiven = true;
  }
  if (!valid) {
    error = "bad value '" + value + "' for " + name;
  }
  return valid;
}

std::string OptionParser::usage(std::string const& program, std::string const& defaultMaildir) {
  return "Usage: " + program +
         " --card FILE --type TYPE [event options] [delivery] [--log [--log-config ID]]\n"
         "\n"
         "Fires one event at the e-mail service of a simulated card, as the card's event service would,\n"
         "and reports the result. The card file describes the card: its records (EMAIL_CONFIGURATION,\n"
         "NETWORK_INTERFACE), devices, alarm history, system logs and measure records.\n"
         "\n"
         "Card:\n"
         "  --card FILE            the card file (a simulated card state in protobuf text format)\n"
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
         "  -h, --help             this text\n"
         "\n"
         "Exit status: 0 for Success and TestEmailSucceeded, 1 for TestEmailFailed and SendError,\n"
         "2 for a bad command line or card file.\n";
}

}  // namespace simulator
