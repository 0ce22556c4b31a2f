#include "check/ConfigurationRules.h"

#include <cctype>
#include <cstring>
#include <vector>

#include "CLocaleBlanks.h"
#include "check/ShellText.h"
#include "dravo_config.pb.h"

namespace emailservice::check {

namespace {

std::string entryPart(std::size_t index) { return "entry " + std::to_string(index + 1); }

// Why the filters cannot read an entry.
std::string unreadable(CodeEntry const& entry) {
  if (entry.text.empty()) {
    return "an empty entry (\",,\" or a \",\" at an end) is not a code";
  }
  if (entry.text.find_first_not_of(kCLocaleBlanks) == std::string::npos) {
    return "a blank entry is not a code";
  }
  if (entry.outOfRange) {
    return "beyond 7FFFFFFF, the largest code the filters can read";
  }
  return "not a hexadecimal code";
}

// The recipient words as the shell splits them (a line feed is left in its word: it ends the command).
std::vector<std::string> words(std::string const& text) {
  std::vector<std::string> result;
  std::string::size_type start = text.find_first_not_of(" \t");
  while (start != std::string::npos) {
    std::string::size_type const end = text.find_first_of(" \t", start);
    result.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
    start = text.find_first_not_of(" \t", end);
  }
  return result;
}

bool allOf(std::string const& text, char const* extra) {
  for (char const c : text) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0 && std::strchr(extra, c) == nullptr) {
      return false;
    }
  }
  return !text.empty();
}

// name@domain: one "@", a local part of the characters of a plain address, a domain of labels.
bool isMailAddress(std::string const& word) {
  std::string::size_type const at = word.find('@');
  if (at == std::string::npos || word.find('@', at + 1) != std::string::npos) {
    return false;
  }
  std::string const domain = word.substr(at + 1);
  return allOf(word.substr(0, at), "!#$%&'*+/=?^_`{|}~.-") && allOf(domain, ".-") && domain.front() != '.' &&
         domain.back() != '.' && domain.find("..") == std::string::npos;
}

// Where the body work file "<work directory><id><suffix>" ends up, read component by component as
// the system resolves it: outside the work directory, in a subdirectory of it, or in it.
enum class BodyPlace { WorkDirectory, Subdirectory, Outside };

BodyPlace bodyPlace(std::string const& id) {
  int depth = 0;
  int deepest = 0;
  std::string::size_type start = 0;
  for (auto slash = id.find('/'); slash != std::string::npos; slash = id.find('/', start)) {
    std::string const component = id.substr(start, slash - start);
    start = slash + 1;
    if (component == "..") {
      --depth;
    } else if (!component.empty() && component != ".") {
      ++depth;
    }
    if (depth < 0) {
      return BodyPlace::Outside;
    }
    deepest = depth > deepest ? depth : deepest;
  }
  return deepest > 0 ? BodyPlace::Subdirectory : BodyPlace::WorkDirectory;
}

std::string boolText(bool value) { return value ? "true" : "false"; }

bool anySubscribed(dravo::proto::EventConfigurationTable const& table) {
  return table.critical().subscribed().value() || table.warning().subscribed().value() ||
         table.informational().subscribed().value();
}

}  // namespace

ConfigurationRules::ConfigurationRules(dravo::proto::EmailConfiguration const& emailConfiguration, std::time_t time,
                                       FindingList& list)
    : configuration(emailConfiguration),
      now(time),
      findings(list),
      exceptions(emailConfiguration.exceptionevents().value()),
      exclusions(emailConfiguration.excludedevents().value()) {}

void ConfigurationRules::check() const {
  checkCodeList("exceptionEvents", exceptions, "every alarm or card event");
  checkCodeList("excludedEvents", exclusions, "while eventNotification is on, every alarm or card event");
  checkExceptionAlsoExcluded();
  checkId();
  checkRecipients();
  checkName();
  checkTables();
  checkPeriodicStart();
  checkSendsSomething();
}

// The first unreadable entry ends every comparison of its list with a parse message; the
// entries after it are never read.
void ConfigurationRules::checkCodeList(char const* field, CodeList const& codes, char const* events) const {
  auto const& entries = codes.entries();
  std::size_t const bad = codes.firstBad();
  if (bad < entries.size()) {
    std::string const after = bad + 1 < entries.size() ? "the entries after it are never compared, and " : "";
    findings.add(
        Severity::Error, field, entryPart(bad), entries[bad].text,
        unreadable(entries[bad]) + "; " + after + events + " that no entry before it matches prints a parse message");
  }
  for (std::size_t i = bad + 1; i < entries.size(); ++i) {
    if (!entries[i].parses) {
      findings.add(Severity::Error, field, entryPart(i), entries[i].text,
                   "not a code either, and never read: " + entryPart(bad) + " already ends the comparison");
    }
  }
  checkCodeValues(field, codes);
}

void ConfigurationRules::checkCodeValues(char const* field, CodeList const& codes) const {
  auto const& entries = codes.entries();
  for (std::size_t i = 0; i < codes.firstBad(); ++i) {
    if (!entries[i].ignored.empty()) {
      findings.add(Severity::Warning, field, entryPart(i), entries[i].text,
                   "read as " + FindingList::quoted(entries[i].read) + ": the filters ignore " +
                       FindingList::quoted(entries[i].ignored) + " after it");
    }
    for (std::size_t earlier = 0; earlier < i; ++earlier) {
      if (entries[earlier].value == entries[i].value) {
        findings.add(Severity::Note, field, entryPart(i), entries[i].text,
                     "the same code as " + entryPart(earlier) + ": comparing it again changes nothing");
        break;
      }
    }
  }
}

// Dispatch tests the exception list after the exclusion and regardless of it.
void ConfigurationRules::checkExceptionAlsoExcluded() const {
  auto const& excluded = exclusions.entries();
  for (std::size_t i = 0; i < exceptions.firstBad(); ++i) {
    for (std::size_t j = 0; j < excluded.size(); ++j) {
      if (excluded[j].parses && excluded[j].value == exceptions.entries()[i].value) {
        findings.add(Severity::Warning, "exceptionEvents", entryPart(i), exceptions.entries()[i].text,
                     "also excluded (excludedEvents " + entryPart(j) +
                         "): an event with this code gets the exception e-mail all the same");
        break;
      }
    }
  }
}

// The id names the body work files ("<work directory><id><suffix>") and the configuration that
// test and periodic events address.
void ConfigurationRules::checkId() const {
  std::string const& id = configuration.id().value();
  if (id.empty()) {
    findings.add(Severity::Warning, "id", "", id,
                 "empty: the body work files are named by their suffix alone, and only a test or periodic event "
                 "with an empty code addresses this configuration");
    return;
  }
  BodyPlace const place = bodyPlace(id);
  if (place == BodyPlace::Outside) {
    findings.add(Severity::Error, "id", "", id,
                 "contains \"/\": the body work files are written outside the work directory");
  } else if (place == BodyPlace::Subdirectory) {
    findings.add(Severity::Error, "id", "", id,
                 "contains \"/\": the body work files go into a subdirectory of the work directory, which the "
                 "service never creates: without it no body is written");
  }
  std::string const special = ShellText::unquotedSpecial(id, false);
  if (!special.empty()) {
    findings.add(Severity::Error, "id", "", id,
                 "holds " + FindingList::quoted(special) +
                     ": in the default build the shell interprets it in the body file path of the mail command");
  }
}

void ConfigurationRules::checkRecipients() const {
  std::string const& text = configuration.recipients().value();
  std::vector<std::string> const list = words(text);
  if (list.empty()) {
    findings.add(Severity::Error, "recipients", "", text,
                 "empty: sendemail gets no recipient, and every sending fails");
  }
  for (std::size_t i = 0; i < list.size(); ++i) {
    checkRecipientWord(list[i], i + 1);
  }
}

// One finding per word, the most serious one.
void ConfigurationRules::checkRecipientWord(std::string const& word, std::size_t number) const {
  std::string const part = "word " + std::to_string(number);
  std::string const special = ShellText::unquotedSpecial(word, true);
  if (!special.empty()) {
    findings.add(
        Severity::Error, "recipients", part, word,
        "holds " + FindingList::quoted(special) + ": in the default build the shell interprets it in the mail command");
  } else if (word.front() == '-') {
    findings.add(Severity::Error, "recipients", part, word,
                 "begins with \"-\": not an address; sendemail refuses it, and every sending fails");
  } else if (word.find('@') == std::string::npos) {
    findings.add(Severity::Note, "recipients", part, word,
                 "a user name, not a mail address (name@domain): only a mail command that delivers to local users "
                 "accepts it");
  } else if (!isMailAddress(word)) {
    findings.add(Severity::Error, "recipients", part, word,
                 "not a mail address (name@domain); sendemail refuses it, and every sending fails");
  }
}

void ConfigurationRules::checkName() const {
  std::string const& name = configuration.name().value();
  std::string const expansion = ShellText::doubleQuotedExpansion(name);
  if (!expansion.empty()) {
    findings.add(Severity::Note, "name", "", name,
                 "holds " + FindingList::quoted(expansion) +
                     ": harmless here, the service writes the name only to the card's log, never into a command");
  }
}

void ConfigurationRules::checkTables() const {
  struct Table {
    char const* field;
    dravo::proto::EventConfigurationTable const& table;
    bool ups;
    char const* consequence;
  };
  Table const tables[] = {{"cardEventTable", configuration.cardeventtable(), false,
                           "card events of this level send nothing, so nothing is attached"},
                          {"upsEventTable", configuration.upseventtable(), true,
                           "alarms of this level send nothing, so nothing is attached"}};
  for (auto const& table : tables) {
    checkLevel(std::string(table.field) + ".critical", table.table.critical(), table.ups, table.consequence);
    checkLevel(std::string(table.field) + ".warning", table.table.warning(), table.ups, table.consequence);
    checkLevel(std::string(table.field) + ".informational", table.table.informational(), table.ups, table.consequence);
  }
  auto const& periodic = configuration.periodicconfiguration();
  checkLevel("periodicConfiguration.cardEventConfiguration", periodic.cardeventconfiguration(), false,
             "the periodic report attaches none of them");
  checkLevel("periodicConfiguration.upsEventConfiguration", periodic.upseventconfiguration(), true,
             "the periodic report attaches none of them");
}

// Only the logs that the entry's events can attach count: the system logs for card events, the
// alarm and measure exports for UPS events.
void ConfigurationRules::checkLevel(std::string const& field, dravo::proto::EventConfiguration const& level,
                                    bool upsLogs, char const* consequence) const {
  if (level.subscribed().value()) {
    return;
  }
  std::string selected;
  if (!upsLogs && level.systemlogselected().value()) {
    selected = "systemLogSelected";
  }
  if (upsLogs && level.alarmlogselected().value()) {
    selected = "alarmLogSelected";
  }
  if (upsLogs && level.measurelogselected().value()) {
    selected += selected.empty() ? "measureLogSelected" : ", measureLogSelected";
  }
  if (!selected.empty()) {
    findings.add(Severity::Warning, field, "", selected,
                 std::string("logs selected, but not subscribed: ") + consequence);
  }
}

// The scheduler's own switch is not read by the service; a start is checked when the report is
// switched on or a start is set.
void ConfigurationRules::checkPeriodicStart() const {
  auto const& periodic = configuration.periodicconfiguration();
  if (!periodic.enabled().value() && !periodic.has_periodstart()) {
    return;
  }
  long long const start = periodic.periodstart().value();
  if (start <= 0) {
    findings.add(Severity::Warning, "periodicConfiguration.periodStart", "", std::to_string(start),
                 "not after 1970-01-01 00:00:00 UTC: the next periodic report covers the whole alarm history and the "
                 "whole logs");
  } else if (start > static_cast<long long>(now)) {
    findings.add(Severity::Warning, "periodicConfiguration.periodStart", "", std::to_string(start),
                 "in the future: the next periodic report covers a period that has not begun, without any alarm or "
                 "log line of the past");
  }
}

// An enabled configuration mails alarms and card events only through its subscribed levels while
// eventNotification is on, or through its exception codes.
void ConfigurationRules::checkSendsSomething() const {
  if (!configuration.enabled().value() || exceptions.firstBad() > 0) {
    return;
  }
  bool const notifications = configuration.eventnotification().value();
  if (notifications &&
      (anySubscribed(configuration.cardeventtable()) || anySubscribed(configuration.upseventtable()))) {
    return;
  }
  findings.add(Severity::Warning, "eventNotification", "", boolText(notifications),
               std::string(notifications ? "on, but no level of either table is subscribed" : "off") +
                   ", and no exception code is listed: the configuration sends nothing but test e-mails and "
                   "periodic reports");
}

}  // namespace emailservice::check
