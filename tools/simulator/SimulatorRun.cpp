#include "SimulatorRun.h"

#include <exception>
#include <ostream>

#include "CardPaths.h"
#include "Delivery.h"
#include "RunLock.h"
#include "cdsapi/CdsAccessor.h"
#include "dispatch/EventTypeRules.h"
#include "emailservice/EmailConfig.h"
#include "emailservice/EmailService.h"
#include "outbox/OutboxLog.h"
#include "simcard/CardFile.h"
#include "simcard/CardPreparation.h"
#include "simcard/SimulatedCard.h"

#ifdef EMAILSERVICE_OUTBOX
#include "UtcTime.h"
#include "emailservice/Outbox.h"
#endif

namespace simulator {

namespace {

using emailservice::ErrorCode;

constexpr int kExitFailed = 1;
constexpr int kExitUnusable = 2;
constexpr int kExitNotAllSent = 3;

// The configuration list of the card's "EMAIL_CONFIGURATION" record; empty when there is none.
dravo::proto::EmailConfigurationList configurationList(simcard::proto::CardState const& state) {
  for (auto const& record : state.records()) {
    if (record.key() == "EMAIL_CONFIGURATION") {
      return record.value().emailconfigurationlist();
    }
  }
  return {};
}

// The position of the first configuration after the template whose id is `id`, or 0 when none has it.
int positionOfId(dravo::proto::EmailConfigurationList const& list, std::string const& id) {
  for (int i = 1; i < list.configurations_size(); ++i) {
    if (list.configurations(i).id().value() == id) {
      return i;
    }
  }
  return 0;
}

}  // namespace

SimulatorRun::SimulatorRun(SimulatorOptions const& runOptions, std::string executable, std::ostream& output,
                           std::ostream& errors)
    : options(runOptions), programPath(std::move(executable)), out(output), err(errors) {}

std::string SimulatorRun::describe(ErrorCode code) {
  std::string name = "unknown";
  switch (code) {
    case ErrorCode::Success:
      name = "Success";
      break;
    case ErrorCode::TestEmailSucceeded:
      name = "TestEmailSucceeded";
      break;
    case ErrorCode::TestEmailFailed:
      name = "TestEmailFailed";
      break;
    case ErrorCode::SendError:
      name = "SendError";
      break;
  }
  return name + " (" + std::to_string(static_cast<std::int32_t>(code)) + ")";
}

int SimulatorRun::run(std::string const& card) {
  simcard::proto::CardState state;
  std::string error;
  RunLock lock;
  Delivery delivery(options.maildir, options.smtpUrl);
  if (!loadCard(card, state) || !lock.acquire(error) || !simcard::CardPreparation(state).prepare(error) ||
      !delivery.configure(programPath, error)) {
    if (!error.empty()) {
      err << "emailservice-simulator: " << error << "\n";
    }
    return kExitUnusable;
  }
  warnIfNoConfigurationIsAddressed(state);
  simcard::SimulatedCard::instance().load(state);
  simcard::SimulatedCard::instance().setFault(state.failingoperation());

  int status = kExitUnusable;
  try {
    status = options.retryOnly ? retry() : fire(state);
  } catch (std::exception const& failure) {
    err << "emailservice-simulator: an exception left the library: " << failure.what() << "\n";
  } catch (...) {
    err << "emailservice-simulator: an exception of unknown type left the library\n";
  }
  out << delivery.report();
  out << "Body work files are in " << emailservice::paths::kWorkDirectory << "\n";
  return status;
}

int SimulatorRun::fire(simcard::proto::CardState const& state) {
  cdsapi::CdsAccessor accessor("emailservice-simulator");
  emailservice::EmailService service(accessor);
  auto const& entries = simcard::SimulatedCard::instance().cardLog();
  std::size_t const before = entries.size();
  ErrorCode const result = service.manageEmails(options.event);
  out << "Result: " << describe(result) << "\n";
  bool notSent = false;
  for (std::size_t i = before; i < entries.size(); ++i) {
    notSent = notSent || entries[i].eventId == emailservice::OutboxLog::kNotSent;
  }
  printLibraryEntries(before);
  if (options.logResult) {
    logResult(state, accessor, result);
  }
  if (result != ErrorCode::Success && result != ErrorCode::TestEmailSucceeded) {
    return kExitFailed;
  }
  return notSent ? kExitNotAllSent : 0;
}

void SimulatorRun::printLibraryEntries(std::size_t first) {
  auto const& entries = simcard::SimulatedCard::instance().cardLog();
  for (std::size_t i = first; i < entries.size(); ++i) {
    out << "Card log: event " << entries[i].eventId << ", severity " << entries[i].severity << ": "
        << entries[i].message << "\n";
  }
}

#ifdef EMAILSERVICE_OUTBOX

int SimulatorRun::retry() {
  std::size_t const before = simcard::SimulatedCard::instance().cardLog().size();
  ErrorCode const result = emailservice::Outbox::retry();
  out << "Retry: " << (result == ErrorCode::Success ? "nothing stays kept" : "e-mails stay kept") << "\n";
  printLibraryEntries(before);
  return result == ErrorCode::Success ? 0 : kExitFailed;
}

int SimulatorRun::listOutbox() {
  auto const kept = emailservice::Outbox::list();
  out << "Kept e-mails: " << kept.size() << "\n";
  for (auto const& email : kept) {
    out << "  Configuration " << email.configurationId << " (" << email.configurationName
        << ")  To: " << email.recipients << "  Subject: " << email.subject << "\n";
    if (email.held) {
      out << "    Held until " << emailservice::formatUtc(email.nextAttempt) << " UTC\n";
    } else {
      out << "    Attempts: " << email.attempts << "  First attempt: " << emailservice::formatUtc(email.firstAttempt)
          << " UTC  Next attempt: " << emailservice::formatUtc(email.nextAttempt)
          << " UTC  Last reason: " << email.lastReason << "\n";
    }
  }
  return 0;
}

#else

int SimulatorRun::retry() {
  err << "emailservice-simulator: --retry: this library was built without the outbox\n";
  return kExitUnusable;
}

int SimulatorRun::listOutbox() {
  err << "emailservice-simulator: --outbox: this library was built without the outbox\n";
  return kExitUnusable;
}

#endif

// A test or periodic event is for the one configuration whose id is its code.
void SimulatorRun::warnIfNoConfigurationIsAddressed(simcard::proto::CardState const& state) const {
  if (!emailservice::EventTypeRules::addressesOneConfiguration(options.event.type)) {
    return;
  }
  if (positionOfId(configurationList(state), options.event.code) > 0) {
    return;
  }
  err << "emailservice-simulator: warning: no configuration is addressed: "
      << (options.event.code.empty() ? "give --code with the id of a configuration"
                                     : "no configuration has the id '" + options.event.code + "'")
      << "\n";
}

bool SimulatorRun::readCard(std::string& content) {
  std::string error;
  if (!simcard::CardFile::read(options.cardFile, content, error)) {
    err << "emailservice-simulator: cannot load the card file: " << error << "\n";
    return false;
  }
  return true;
}

bool SimulatorRun::loadCard(std::string const& content, simcard::proto::CardState& state) {
  std::string error;
  if (!simcard::CardFile::parse(content, simcard::CardFile::nameOf(options.cardFile), state, error)) {
    err << "emailservice-simulator: cannot load the card file: " << error << "\n";
    return false;
  }
  return true;
}

void SimulatorRun::logResult(simcard::proto::CardState const& state, cdsapi::CdsAccessor& accessor, ErrorCode code) {
  std::string const id = logConfigurationId(state);
  dravo::proto::EmailConfigurationList const list = configurationList(state);
  int const position = positionOfId(list, id);
  dravo::proto::EmailConfiguration const configuration =
      position > 0 ? list.configurations(position) : dravo::proto::EmailConfiguration();
  emailservice::EmailConfig(accessor, options.event, configuration).logError(code);

  auto const& entries = simcard::SimulatedCard::instance().cardLog();
  out << "Card log (" << entries.size() << " entr" << (entries.size() == 1 ? "y" : "ies") << "):\n";
  for (auto const& entry : entries) {
    out << "  category " << entry.category << ", event " << entry.eventId << ", severity " << entry.severity << ": "
        << entry.message << "\n";
  }
}

// The configuration a caller would report on: the one the event names, else the first recipient set.
std::string SimulatorRun::logConfigurationId(simcard::proto::CardState const& state) const {
  if (options.logConfigurationGiven) {
    return options.logConfigurationId;
  }
  dravo::proto::EmailConfigurationList const list = configurationList(state);
  if (positionOfId(list, options.event.code) > 0) {
    return options.event.code;
  }
  return list.configurations_size() > 1 ? list.configurations(1).id().value() : std::string();
}

}  // namespace simulator
