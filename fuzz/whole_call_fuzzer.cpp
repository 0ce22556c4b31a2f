// The whole call, EmailService::manageEmails, on any configuration list and any event, with the
// card's commands replaced by a recording stand-in.
// Input: the event (type, level, state, code, description, date), the name of the card, what the
// mail command prints, then a serialized dravo::proto::EmailConfigurationList (bytes that do not
// parse give a card without a list).
// Properties: no crash; the result is one of the four codes; at most one e-mail per enabled
// configuration after the template (at most one in all for Test and Periodic events); every
// mail command is "sudo -u email sendemail -s "<escaped subject>"[ -a<attachments>] -- <recipients>
// < <work file>" with the subject escaped, known attachment paths, and the recipients and work
// file of one enabled configuration; in the hardened profile sendemail's subject option first and
// the quoted work file of one enabled configuration last.
#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "BuildSettings.h"
#include "CardPaths.h"
#include "FuzzSupport.h"
#include "cdsapi/CdsAccessor.h"
#include "dravo_config.pb.h"
#include "email/ShellQuote.h"
#include "emailservice/EmailEvent.h"
#include "emailservice/EmailService.h"
#include "simcard/SimulatedCard.h"

namespace {

using emailservice::fuzz::check;

// The card's work directory, where the body files and the attachments are.
std::string const kWork = emailservice::paths::kWorkDirectory;

// The ending of the body work file's name for each event type; other types add nothing.
std::string suffixOf(std::int32_t type) {
  static char const* const suffixes[] = {"", "report.txt", "card.txt", "ups.txt", "test.txt"};
  return type >= emailservice::EventType::Periodic && type <= emailservice::EventType::Test ? suffixes[type] : "";
}

// Whether `options` is nothing, or " -a" and known attachment paths, each after one or more
// blanks (a kind may put a blank before a list that begins with one).
bool attachmentsAreKnown(std::string const& options) {
  static std::set<std::string> const known = {
      kWork + "logUpdate.csv", kWork + "logAccount.csv", kWork + "logSession.csv", kWork + "logSystem.csv",
      kWork + "logAlarm.csv",  kWork + "ups.csv",        kWork + "sensors.csv"};
  if (options.empty()) {
    return true;
  }
  if (options.compare(0, 4, " -a ") != 0) {
    return false;
  }
  std::istringstream paths(options.substr(3));
  for (std::string path; paths >> path;) {
    if (known.count(path) == 0) {
      return false;
    }
  }
  return true;
}

void checkMailCommand(std::string const& command, std::string const& systemName,
                      std::vector<std::string> const& tails) {
  std::string const head = "sudo -u email sendemail -s \"";
  check(command.compare(0, head.size(), head) == 0, "the command starts with sudo and sendemail's subject option",
        command);
  std::string subject;
  std::size_t const at = emailservice::fuzz::readDoubleQuoted(command, head.size(), subject);
  std::string name = systemName;
  std::replace(name.begin(), name.end(), '`', '\'');
  check(subject.compare(0, name.size(), name) == 0, "the subject starts with the system name", command);
  bool matched = false;
  for (auto const& tail : tails) {
    std::string const end = " -- " + tail;
    matched = matched || (command.size() >= at + end.size() &&
                          command.compare(command.size() - end.size(), end.size(), end) == 0 &&
                          attachmentsAreKnown(command.substr(at, command.size() - end.size() - at)));
  }
  check(matched, "known attachments, then the recipients and work file of one enabled configuration", command);
}

// The hardened command: its head, then every piece of data quoted as ShellQuote quotes it (the
// subject target fuzzes that), ending at the quoted work file of one enabled configuration.
void checkHardenedMailCommand(std::string const& command, std::vector<std::string> const& workFiles) {
  std::string const head = "sudo -u email sendemail -s '";
  check(command.compare(0, head.size(), head) == 0, "the command starts with sudo and sendemail's subject option",
        command);
  bool const ends = std::any_of(workFiles.begin(), workFiles.end(), [&](std::string const& workFile) {
    std::string const end = " < " + emailservice::ShellQuote::word(workFile);
    return command.size() > end.size() && command.compare(command.size() - end.size(), end.size(), end) == 0;
  });
  check(ends, "the command ends with the work file of one enabled configuration", command);
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

  card.device(1).set_friendlyname(friendlyName);
  card.device(20).set_physicalname(physicalName);
  dravo::proto::toolkitStruct record;
  dravo::proto::EmailConfigurationList list;
  if (list.ParseFromString(input.rest())) {
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

  // Each input on its own: no retry of an e-mail that an earlier input kept (in outbox builds).
  std::filesystem::remove_all(emailservice::settings::kOutboxDirectory);
  emailservice::EmailService service(accessor);
  auto const result = static_cast<std::int32_t>(service.manageEmails(event));
  card.reset();

  check(result >= -2 && result <= 1, "the result is one of the four codes", std::to_string(result));
  std::vector<std::string> tails;
  std::vector<std::string> workFiles;
  for (int i = 1; i < list.configurations_size(); ++i) {
    auto const& configuration = list.configurations(i);
    if (configuration.enabled().value()) {
      std::string const workFile = kWork + configuration.id().value() + suffixOf(event.type);
      tails.push_back(configuration.recipients().value() + " < " + workFile);
      workFiles.push_back(workFile);
    }
  }
  bool const addressed = event.type == emailservice::EventType::Test || event.type == emailservice::EventType::Periodic;
  check(mailCommands.size() <= (addressed ? std::min<std::size_t>(1, tails.size()) : tails.size()),
        "at most one e-mail per enabled configuration, and one in all for a test or periodic event");
  std::string const systemName = friendlyName.empty() ? physicalName : friendlyName;
  for (auto const& command : mailCommands) {
    if (emailservice::settings::kHardened) {
      checkHardenedMailCommand(command, workFiles);
    } else {
      checkMailCommand(command, systemName, tails);
    }
  }
  return 0;
}
