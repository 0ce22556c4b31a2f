// The whole call, EmailService::manageEmails, on any configuration list and any event, with the
// card's commands replaced by a recording stand-in.
// Input: the event (type, level, state, code, description, date), the name of the card, what the
// mail command prints, then a serialized dravo::proto::EmailConfigurationList (bytes that do not
// parse give a card without a list).
// Properties: no crash; the result is one of the four codes; at most one e-mail per enabled
// configuration after the template (at most one in all for Test and Periodic events); every
// mail command is "sudo -u email sendemail -s "<escaped subject>"[ -a<attachments>] -- <recipients>
// < <work file>" with the subject escaped, known attachment paths, and the recipients and work
// file of one enabled configuration.
#include <set>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "FuzzSupport.h"
#include "cdsapi/CdsAccessor.h"
#include "dravo_config.pb.h"
#include "emailservice/EmailEvent.h"
#include "emailservice/EmailService.h"
#include "simcard/SimulatedCard.h"

namespace {

using emailservice::fuzz::check;

// The card's work directory, where the body files and the attachments are.
std::string const& workDirectory() {
  static std::string const directory = emailservice::paths::kWorkDirectory;
  return directory;
}

std::string suffixOf(std::int32_t type) {
  switch (type) {
    case emailservice::EventType::Periodic:
      return "report.txt";
    case emailservice::EventType::Card:
      return "card.txt";
    case emailservice::EventType::Ups:
      return "ups.txt";
    case emailservice::EventType::Test:
      return "test.txt";
    default:
      return "";
  }
}

bool startsWith(std::string const& text, std::string::size_type at, std::string const& prefix) {
  return text.compare(at, prefix.size(), prefix) == 0;
}

// Reads the escaped subject from `at` up to its closing double quote and returns the position
// after that quote; the subject, unescaped, goes to `subject`.
std::string::size_type readSubject(std::string const& command, std::string::size_type at, std::string& subject) {
  for (; at < command.size(); ++at) {
    char const c = command[at];
    check(c != '`', "no backquote in the subject", command);
    if (c == '"') {
      return at + 1;
    }
    if (c == '\\') {
      check(at + 1 < command.size() && (command[at + 1] == '"' || command[at + 1] == '\\'),
            "a backslash of the subject escapes a double quote or a backslash", command);
      ++at;
    }
    subject += command[at];
  }
  emailservice::fuzz::fail("the subject is closed", command);
}

// Skips the attachment list: known attachment paths, each after one or more blanks (a kind may
// put a blank before a list that begins with one).
std::string::size_type skipAttachments(std::string const& command, std::string::size_type at) {
  static std::vector<std::string> const known = {workDirectory() + "logUpdate.csv",  workDirectory() + "logAccount.csv",
                                                 workDirectory() + "logSession.csv", workDirectory() + "logSystem.csv",
                                                 workDirectory() + "logAlarm.csv",   workDirectory() + "ups.csv",
                                                 workDirectory() + "sensors.csv"};
  for (;;) {
    auto const path = command.find_first_not_of(' ', at);
    if (path == at || path == std::string::npos) {
      return at;
    }
    std::string::size_type next = at;
    for (auto const& candidate : known) {
      auto const end = path + candidate.size();
      if (startsWith(command, path, candidate) && (end == command.size() || command[end] == ' ')) {
        next = end;
        break;
      }
    }
    if (next == at) {
      return at;
    }
    at = next;
  }
}

void checkMailCommand(std::string const& command, std::string const& systemName,
                      std::vector<std::string> const& tails) {
  std::string const head = "sudo -u email sendemail -s \"";
  check(startsWith(command, 0, head), "the command starts with sudo and sendemail's subject option", command);
  std::string subject;
  auto at = readSubject(command, head.size(), subject);
  std::string name = systemName;
  for (char& c : name) {
    c = c == '`' ? '\'' : c;
  }
  check(subject.compare(0, name.size(), name) == 0, "the subject starts with the system name", command);
  if (startsWith(command, at, " -a")) {
    at = skipAttachments(command, at + 3);
  }
  check(startsWith(command, at, " -- "), "options end with --", command);
  std::string const tail = command.substr(at + 4);
  bool matched = false;
  for (auto const& candidate : tails) {
    matched = matched || tail == candidate;
  }
  check(matched, "recipients and work file are those of one enabled configuration", command);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  emailservice::fuzz::prepareCardDirectories();
  static cdsapi::CdsAccessor accessor;
  auto& card = simcard::SimulatedCard::instance();
  card.reset();

  emailservice::fuzz::FuzzInput input(data, size);
  emailservice::EmailEvent event{};
  std::uint8_t const typeByte = input.byte();
  event.type = typeByte < 250 ? typeByte % 6 : input.int32();
  event.level = input.byte() % 5;
  event.state = input.byte() % 3 - 1;
  event.code = input.text(16);
  event.description = input.text(64);
  event.date = input.text(32);
  std::string const friendlyName = input.text(32);
  std::string const physicalName = input.text(16);
  std::uint8_t const printed = input.byte();
  std::string const listBytes = input.rest();

  card.device(1).set_friendlyname(friendlyName);
  card.device(20).set_physicalname(physicalName);
  dravo::proto::toolkitStruct record;
  dravo::proto::EmailConfigurationList list;
  if (list.ParseFromString(listBytes)) {
    *record.mutable_emailconfigurationlist() = list;
  } else {
    list.Clear();
  }
  card.setRecord("EMAIL_CONFIGURATION", record);

  std::vector<std::string> mailCommands;
  card.setCommandHook([&](std::vector<std::string> const& args, std::string const&, std::string& output) {
    if (args.size() == 3 && args[0] == "/bin/sh" && args[1] == "-c") {
      mailCommands.push_back(args[2]);
      output = printed % 3 == 0 ? "" : printed % 3 == 1 ? "Could not send the message\n" : "sent\n";
    }
    return 0;
  });

  emailservice::EmailService service(accessor);
  auto const result = static_cast<std::int32_t>(service.manageEmails(event));
  card.reset();

  check(result >= -2 && result <= 1, "the result is one of the four codes", std::to_string(result));
  std::vector<std::string> tails;
  for (int i = 1; i < list.configurations_size(); ++i) {
    auto const& configuration = list.configurations(i);
    if (configuration.enabled().value()) {
      tails.push_back(configuration.recipients().value() + " < " + workDirectory() + configuration.id().value() +
                      suffixOf(event.type));
    }
  }
  check(mailCommands.size() <= tails.size(), "at most one e-mail per enabled configuration");
  if (event.type == emailservice::EventType::Test || event.type == emailservice::EventType::Periodic) {
    check(mailCommands.size() <= 1, "a test or periodic event sends at most one e-mail");
  }
  std::string const systemName = friendlyName.empty() ? physicalName : friendlyName;
  for (auto const& command : mailCommands) {
    checkMailCommand(command, systemName, tails);
  }
  return 0;
}
