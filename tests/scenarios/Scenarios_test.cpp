// Runs the card scenarios of tests/scenarios/ (format: tests/support/scenario.proto). Every case
// lays out a simulated card, fires its event at EmailService::manageEmails with the card's
// commands recorded (and, when asked, run for real), and compares the result, the commands, what
// the library printed, the card's log and the work files with what the case expects. Each case
// is a test of its own; UPDATE_GOLDEN=1 rewrites golden texts instead of failing on them
// (docs/testing.md).
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>

#include "BuildSettings.h"
#include "CardCheck.h"
#include "CardPaths.h"
#include "UtcTime.h"
#include "cdsapi/CdsAccessor.h"
#include "dispatch/CallLock.h"
#include "emailservice/ConfigurationCheck.h"
#include "emailservice/EmailConfig.h"
#include "emailservice/EmailService.h"
#include "outbox/OutboxLog.h"
#include "scenario.pb.h"
#include "simcard/CardPreparation.h"
#include "support/CardTest.h"
#include "zorvan/Exec.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;

std::string const kScenarios = std::string(EMAILSERVICE_SOURCE_DIR) + "/tests/scenarios/";

void replaceAll(std::string& text, std::string const& from, std::string const& to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

std::string expand(std::string text) {
  replaceAll(text, "{SYS}", " {W}logUpdate.csv {W}logAccount.csv {W}logSession.csv {W}logSystem.csv");
  replaceAll(text, "{W}", paths::kWorkDirectory);
  return text;
}

template <typename Message>
bool parseFile(std::string const& path, Message& message) {
  return google::protobuf::TextFormat::ParseFromString(readFile(path), &message);
}

// UPDATE_GOLDEN=1: golden texts are rewritten from what the code gives.
bool updatingGoldens() {
  char const* const update = std::getenv("UPDATE_GOLDEN");
  return update != nullptr && std::string(update) == "1";
}

// Keeps the entries of `base` that no entry of `delta` replaces (same key), then adds `delta`'s.
template <typename Entries, typename Key>
void replaceEntries(Entries& base, Entries const& delta, Key key) {
  Entries kept;
  for (auto const& entry : base) {
    if (std::none_of(delta.begin(), delta.end(), [&](auto const& other) { return key(other) == key(entry); })) {
      *kept.Add() = entry;
    }
  }
  kept.MergeFrom(delta);
  base.Swap(&kept);
}

// Records and devices replace the card's of the same key or number; any other list replaces the
// card's list; single values are set.
void mergeCard(simcard::proto::CardState& card, simcard::proto::CardState const& delta) {
  replaceEntries(*card.mutable_records(), delta.records(), [](auto const& record) { return record.key(); });
  replaceEntries(*card.mutable_devices(), delta.devices(), [](auto const& device) { return device.id(); });
  simcard::proto::CardState rest = delta;
  rest.clear_records();
  rest.clear_devices();
  if (rest.alarms_size() > 0) {
    card.clear_alarms();
  }
  if (rest.channels_size() > 0) {
    card.clear_channels();
  }
  if (rest.systemlogs_size() > 0) {
    card.clear_systemlogs();
  }
  card.MergeFrom(rest);
}

dravo::proto::EmailConfigurationList* configurationList(simcard::proto::CardState& card) {
  for (auto& record : *card.mutable_records()) {
    if (record.key() == "EMAIL_CONFIGURATION") {
      return record.mutable_value()->mutable_emailconfigurationlist();
    }
  }
  return nullptr;
}

// `expected` with each "{NOW}" replaced by the text at the same place of `actual`, which must be
// a time between `before` and `after` ("%F %T": they compare as texts); `inTime` says whether all were.
std::string withTimesOf(std::string const& actual, std::string const& expected, std::string const& before,
                        std::string const& after, bool& inTime) {
  std::string filled;
  std::size_t from = 0;
  inTime = true;
  for (std::size_t now; (now = expected.find("{NOW}", from)) != std::string::npos; from = now + 5) {
    filled += expected.substr(from, now - from);
    std::string const time = actual.substr(std::min(actual.size(), filled.size()), before.size());
    inTime = inTime && before <= time && time <= after;
    filled += time;
  }
  return filled + expected.substr(from);
}

// `actual` as a golden text: the work directory written "{W}", each time of the call "{NOW}".
std::string asGolden(std::string actual, std::string const& before, std::string const& after) {
  replaceAll(actual, paths::kWorkDirectory, "{W}");
  std::regex const time("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}");
  std::string golden;
  auto from = actual.cbegin();
  for (std::sregex_iterator at(actual.begin(), actual.end(), time), end; at != end; ++at) {
    bool const ofTheCall = before <= at->str() && at->str() <= after;
    golden.append(from, (*at)[0].first).append(ofTheCall ? "{NOW}" : at->str());
    from = (*at)[0].second;
  }
  return golden.append(from, actual.cend());
}

// The words that /bin/sh makes of a mail command's text, its input redirection a word "<" of its
// own: blanks separate words; single quotes keep everything; within double quotes a backslash
// keeps the next character when that is one of $ ` " \ ; elsewhere a backslash keeps the next.
// Enough for the mail commands of both profiles, whose only expansions the scenarios do not use.
std::vector<std::string> shellWords(std::string const& text) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  auto const end = [&] {
    if (inWord) {
      words.push_back(word);
    }
    word.clear();
    inWord = false;
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    char const c = text[i];
    if (c == ' ' || c == '\t' || c == '\n' || c == '<') {
      end();
      if (c == '<') {
        words.emplace_back("<");
      }
    } else if (c == '\'') {
      auto const close = text.find('\'', i + 1);
      word += text.substr(i + 1, close - i - 1);
      i = close == std::string::npos ? text.size() : close;
      inWord = true;
    } else if (c == '"') {
      for (++i; i < text.size() && text[i] != '"'; ++i) {
        bool const escaped = text[i] == '\\' && i + 1 < text.size() && std::strchr("$`\"\\", text[i + 1]) != nullptr;
        word += text[escaped ? ++i : i];
      }
      inWord = true;
    } else {
      word += c == '\\' && i + 1 < text.size() ? text[++i] : c;
      inWord = true;
    }
  }
  end();
  return words;
}

// The recipients of a mail command as sendemail receives them: its words between "--" and "<",
// joined by blanks.
std::string recipientsOf(std::string const& command) {
  std::vector<std::string> const words = shellWords(command);
  auto word = std::find(words.begin(), words.end(), "--");
  std::string recipients;
  for (word = word == words.end() ? word : word + 1; word != words.end() && *word != "<"; ++word) {
    recipients += (recipients.empty() ? "" : " ") + *word;
  }
  return recipients;
}

// The commands as this build's profile is held to them: the text itself where the contract's mail
// command is built, byte for byte; in the hardened profile, which quotes every piece of data, the
// words that sendemail receives, which are those of the contract's command for the values of the
// scenarios.
std::vector<std::vector<std::string>> asCompared(std::vector<std::string> const& commands) {
  std::vector<std::vector<std::string>> compared;
  compared.reserve(commands.size());
  for (auto const& command : commands) {
    compared.push_back(settings::kHardened ? shellWords(command) : std::vector<std::string>{command});
  }
  return compared;
}

// What a build with the outbox or with serialized calls adds under the work directory (the kept
// e-mails, the lock file): no work file of an e-mail.
bool isAddedByTheBuild(fs::directory_entry const& entry) {
  return (settings::kSerializedCalls && entry.path() == CallLock::path()) ||
         (settings::kOutbox && entry.path().filename() == "outbox" && entry.is_directory());
}

std::string workFiles() {
  std::vector<std::string> names;
  std::error_code missing;
  for (auto const& entry : fs::directory_iterator(paths::kWorkDirectory, missing)) {
    if (!isAddedByTheBuild(entry)) {
      names.push_back(entry.path().filename().string());
    }
  }
  std::sort(names.begin(), names.end());
  std::string listed;
  for (auto const& name : names) {
    listed += (listed.empty() ? "" : " ") + name;
  }
  return listed;
}

class ScenarioTest : public CardTest {
 public:
  // A test that fails with `broken` when it is not empty: the file or the case cannot be run.
  ScenarioTest(std::shared_ptr<test::Scenario const> scenario, int index, std::string file, std::string broken)
      : cases(std::move(scenario)), caseIndex(index), scenarioFile(std::move(file)), why(std::move(broken)) {}

  void TestBody() override {
    ASSERT_TRUE(why.empty()) << scenarioFile << ": " << why;
    if (settings::kHardened && cases->case_(caseIndex).contract_submission_only()) {
      GTEST_SKIP()
          << "what the contract's mail command does with this case; tests/hardening has the hardened profile's";
    }
    runCase(*cases, cases->case_(caseIndex));
  }

 protected:
  void SetUp() override {
    CardTest::SetUp();
    // Far from UTC, so that a time written in local time shows.
    setenv("TZ", "XST+05", 1);
    tzset();
  }

  void runCase(test::Scenario const& scenario, test::Case const& c);
  void prepareCard(test::Scenario const& scenario, test::Case const& c);
  void recordCommands(test::Case const& c);
  void expectOutcome(test::Case const& c, std::string const& before, std::string const& after);
  static void expectFile(test::WorkFile const& file, std::string const& actual, std::string const& before,
                         std::string const& after);

  simcard::proto::CardState state;
  std::vector<std::string> commands;
  std::vector<std::string> atCommand;
  std::map<std::string, std::string> sent;  // the work files when the last mail command ran

 private:
  static void expectFindings(test::Case const& c);

  std::shared_ptr<test::Scenario const> cases;
  int caseIndex;
  std::string scenarioFile;  // under tests/scenarios/
  std::string why;
};

void ScenarioTest::prepareCard(test::Scenario const& scenario, test::Case const& c) {
  if (scenario.has_base()) {
    ASSERT_TRUE(parseFile(kScenarios + scenario.base(), state)) << scenario.base();
  }
  mergeCard(state, scenario.card());
  mergeCard(state, c.card());
  if (c.has_configuration()) {
    auto* list = configurationList(state);
    ASSERT_TRUE(list != nullptr && list->configurations_size() > 1) << "no configuration at position 1 to change";
    list->mutable_configurations(1)->MergeFrom(c.configuration());
  }
  card().load(state);
  std::string error;
  ASSERT_TRUE(simcard::CardPreparation(state).prepare(error)) << error;
  if (c.no_work_directory()) {
    fs::remove_all(paths::kWorkDirectory);
  }
  if (c.has_fault()) {
    auto const colon = c.fault().find(':');
    card().setFault(c.fault().substr(0, colon),
                    colon == std::string::npos ? 1U : static_cast<unsigned>(std::stoul(c.fault().substr(colon + 1))));
  }
}

void ScenarioTest::recordCommands(test::Case const& c) {
  commands.clear();
  atCommand.clear();
  sent.clear();
  card().setCommandHook(
      [this, &c](std::vector<std::string> const& args, std::string const& input, std::string& printed) {
        bool const shell = args.size() == 3 && args[0] == "/bin/sh" && args[1] == "-c";
        std::string joined = shell ? args[2] : "";
        for (std::size_t i = 0; !shell && i < args.size(); ++i) {
          joined += (i == 0 ? "" : " ") + args[i];
        }
        commands.push_back(joined);
        atCommand.push_back(workFiles());
        if (!args.empty() && args[0] == c.missing_command()) {
          throw std::runtime_error("cannot start " + args[0]);
        }
        if (shell) {
          sent.clear();
          std::error_code missing;
          for (auto const& entry : fs::directory_iterator(paths::kWorkDirectory, missing)) {
            if (!isAddedByTheBuild(entry)) {
              sent[entry.path().filename().string()] = readFile(entry.path().string());
            }
          }
        }
        if (c.run_commands()) {
          auto const hook = card().getCommandHook();
          card().setCommandHook({});
          std::stringstream output;
          int const status = zorvan::exec(args, input, 0, &output, nullptr);
          card().setCommandHook(hook);
          printed = output.str();
          return status;
        }
        printed = shell ? c.mail_output() : "";
        for (auto const& recipients : c.failing()) {
          if (shell && recipientsOf(joined) == recipients) {
            printed = "sendemail: Could not send the message\n";
          }
        }
        return 0;
      });
}

// The check's lines for the card, with its list and device names read as the service reads them.
std::vector<std::string> findings() {
  std::vector<std::string> lines;
  for (auto const& finding : tools::CardCheck::checkLoadedCard()) {
    lines.push_back(check::describe(finding));
  }
  return lines;
}

void ScenarioTest::expectFindings(test::Case const& c) {
  std::vector<std::string> const lines = findings();
  EXPECT_TRUE(!c.clean() || lines.empty()) << lines.front();
  for (auto const& finding : c.finding()) {
    EXPECT_NE(std::find(lines.begin(), lines.end(), finding), lines.end()) << "no finding " << finding;
  }
}

void ScenarioTest::runCase(test::Scenario const& scenario, test::Case const& c) {
  SCOPED_TRACE(scenarioFile + ": " + c.name());
  prepareCard(scenario, c);
  if (HasFatalFailure()) {
    return;
  }
  if (c.clean() || c.finding_size() > 0) {
    expectFindings(c);
  }
  recordCommands(c);
  fs::path const directory = fs::current_path();
  if (c.run_commands()) {
    fs::current_path(paths::kWorkDirectory);
    setenv("SIMCARD_MAILDIR", (std::string(paths::kWorkDirectory) + "Maildir").c_str(), 1);
  }
  auto const& e = c.event();
  EmailEvent const event{
      e.has_type_number() ? e.type_number() : e.type(),    "2024-05-01 13:07:42",
      e.has_level_number() ? e.level_number() : e.level(), e.code(),
      e.has_state_number() ? e.state_number() : e.state(), e.has_description() ? e.description() : "On battery"};
  cdsapi::CdsAccessor accessor;
  std::string const before = formatUtc(std::time(nullptr));
  ::testing::internal::CaptureStdout();
  bool threw = false;
  ErrorCode result = ErrorCode::Success;
  try {
    for (int run = 0; run < c.times(); ++run) {
      result = EmailService(accessor).manageEmails(event);
    }
  } catch (std::exception const&) {
    threw = true;
  }
  std::string const printed = ::testing::internal::GetCapturedStdout();
  std::string const after = formatUtc(std::time(nullptr));
  fs::current_path(directory);
  if (c.has_report()) {
    EmailConfig(accessor, event, configurationList(state)->configurations(c.report())).logError(result);
  }
  EXPECT_EQ(threw, c.throws());
  EXPECT_EQ(static_cast<int>(result), c.result()) << "expected " << test::Result_Name(c.result());
  EXPECT_EQ(printed, c.stdout());
  expectOutcome(c, before, after);
}

void ScenarioTest::expectOutcome(test::Case const& c, std::string const& before, std::string const& after) {
  std::vector<std::string> expected;
  for (auto const& command : c.command()) {
    expected.push_back(expand(command));
  }
  EXPECT_EQ(asCompared(commands), asCompared(expected)) << ::testing::PrintToString(commands);
  if (c.at_command_size() > 0) {
    EXPECT_EQ(atCommand, std::vector<std::string>(c.at_command().begin(), c.at_command().end()));
  }
  std::vector<std::string> log;
  for (auto const& entry : card().cardLog()) {
    if (settings::kOutbox && OutboxLog::isOutboxEntry(entry.eventId)) {
      continue;  // the outbox's own entries, which the scenarios of the default build do not show
    }
    std::ostringstream line;
    line << entry.category << ' ' << entry.eventId << ' ' << entry.deviceId << ' ' << entry.severity << " ["
         << entry.source << "] " << entry.channelId << ' ' << entry.message;
    log.push_back(line.str());
  }
  EXPECT_EQ(log, std::vector<std::string>(c.card_log().begin(), c.card_log().end()));
  for (auto const& file : c.sent_file()) {
    EXPECT_EQ(sent.count(file.name()), file.absent() ? 0U : 1U) << file.name() << " when sending";
    expectFile(file, sent[file.name()], before, after);
  }
  for (auto const& file : c.file()) {
    std::string const path = paths::kWorkDirectory + file.name();
    EXPECT_EQ(fs::exists(path), !file.absent()) << file.name();
    expectFile(file, fs::is_regular_file(path) ? readFile(path) : "", before, after);
  }
}

void ScenarioTest::expectFile(test::WorkFile const& file, std::string const& actual, std::string const& before,
                              std::string const& after) {
  bool inTime = true;
  // Whole lines: the expected text from the start of a line of `actual` up to a line feed.
  std::string const lines = "\n" + actual;
  for (auto const& line : file.line()) {
    std::string const expected = expand(line) + "\n";
    std::size_t times = 0;
    for (auto at = expected.find("{NOW}"); at != std::string::npos; at = expected.find("{NOW}", at + 1)) {
      ++times;
    }
    std::size_t const length = expected.size() + times * (before.size() - 5);
    bool found = false;
    for (std::size_t at = lines.find('\n'); !found && at != std::string::npos; at = lines.find('\n', at + 1)) {
      std::string const candidate = lines.substr(at + 1, length);
      found = withTimesOf(candidate, expected, before, after, inTime) == candidate && inTime;
    }
    EXPECT_TRUE(found) << file.name() << " has no line " << line;
  }
  for (auto const& text : file.holds()) {
    EXPECT_NE(actual.find(text), std::string::npos) << file.name() << " lacks " << text;
  }
  for (auto const& text : file.lacks()) {
    EXPECT_EQ(actual.find(text), std::string::npos) << file.name() << " holds " << text;
  }
  if (file.has_golden() && updatingGoldens()) {
    writeFile(kScenarios + file.golden(), asGolden(actual, before, after));
  }
  if (file.has_golden() || file.has_content()) {
    std::string const text = file.has_golden() ? readFile(kScenarios + file.golden()) : file.content();
    EXPECT_EQ(actual, withTimesOf(actual, expand(text), before, after, inTime)) << file.name();
    EXPECT_TRUE(inTime) << file.name() << ": a time is not one of the call";
  }
}

// Every .txtpb of tests/scenarios/ but the cards that scenarios start from ("card-*").
std::vector<std::string> scenarioFiles() {
  std::vector<std::string> names;
  for (auto const& entry : fs::directory_iterator(kScenarios)) {
    if (entry.path().extension() == ".txtpb" && entry.path().stem().string().rfind("card-", 0) != 0) {
      names.push_back(entry.path().filename().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

// A test name from a case's name: its words run together, each capitalised
// ("an e-mail's level 4: not sent" gives "AnEmailsLevel4NotSent").
std::string testName(std::string const& caseName) {
  std::string name;
  bool wordStart = true;
  for (char const c : caseName) {
    if (c == '\'' || c == '-') {  // "an alarm's", "e-mail": one word
      continue;
    }
    bool const letterOrDigit = std::isalnum(static_cast<unsigned char>(c)) != 0;
    if (letterOrDigit) {
      name += wordStart ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
    }
    wordStart = !letterOrDigit;
  }
  return name;
}

// Each case of each scenario file is a test of its own, in a suite named after its file
// ("check.TemplateIsNeverProcessed"), so that one case runs alone by name. A file that does not
// parse, or a name that two cases share, is a failing test.
bool const registered = [] {
  for (auto const& file : scenarioFiles()) {
    auto scenario = std::make_shared<test::Scenario>();
    std::string suite = file.substr(0, file.size() - 6);
    std::replace(suite.begin(), suite.end(), '-', '_');
    auto const add = [&](std::string const& name, int index, std::string const& broken) {
      ::testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, (kScenarios + file).c_str(), 1,
                              [=]() -> CardTest* { return new ScenarioTest(scenario, index, file, broken); });
    };
    if (!parseFile(kScenarios + file, *scenario) || scenario->case__size() == 0) {
      add("FileParses", 0, "not a scenario with cases");
      continue;
    }
    std::set<std::string> names;
    for (int index = 0; index < scenario->case__size(); ++index) {
      std::string const name = testName(scenario->case_(index).name());
      bool const unique = names.insert(name).second && !name.empty();
      add(unique ? name : name + "Again" + std::to_string(index), index, unique ? "" : "no name of its own");
    }
  }
  return true;
}();

}  // namespace
}  // namespace emailservice::testing
