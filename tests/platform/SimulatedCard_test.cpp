// The simulated card's platform as its users rely on it: the card file, the data store's
// answers and faults, running programs, the parser's messages.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "CardPaths.h"
#include "cdsapi/AlarmInfos.h"
#include "cdsapi/CdsAccessor.h"
#include "cdsapi/DataAlarms.h"
#include "cdsapi/InBandAccessor.h"
#include "cdsapi/OobAccessor.h"
#include "cdsapi/dataLog.h"
#include "simcard/CardFile.h"
#include "simcard/ParseMessage.h"
#include "support/CardTest.h"
#include "zorvan/Exec.h"

namespace emailservice::testing {
namespace {

// "A@300-400 20:3/Critical": description, raised and cleared (0: active) times, device, level and
// level text ("-": none).
std::string listed(std::vector<dravo::CAlarmUpdate> const& updates) {
  std::ostringstream text;
  for (auto const& update : updates) {
    cdsapi::AlarmInfos const infos(update);
    text << infos.getDescriptionString() << '@' << update.getTimestamp().seconds() << '-'
         << (update.getClearedAt() ? update.getClearedAt()->seconds() : 0) << ' ' << update.getDeviceId() << ':'
         << update.getLevel() << '/' << (infos.getLevelString() != nullptr ? infos.getLevelString() : "-") << ' ';
  }
  return text.str();
}

// Writes "m" to the card's log and gives the message that the log then ends with.
std::string logMessage() {
  cdsapi::dataLog::logMessage(cdsapi::enLogCategoryEmail, 8, 0, cdsapi::SEVERITY_ERROR, "", 0, "m");
  return simcard::SimulatedCard::instance().cardLog().back().message;
}

std::string const kCardFile = std::string(paths::kWorkDirectory) + "card.txtpb";

// The card is loaded from a card file; alarms in store order, deliberately not chronological,
// B and E without a level text.
class SimulatedCardTest : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    writeFile(kCardFile, R"(productName: "Card X"
      devices { id: 20 friendlyName: "F" physicalName: "P" model: "M" vendor: "V" partNumber: "N" serialNumber: "S"
                swVersion: "W" hwVersion: "H" }
      channels { id: 42 device: 20 name: "PowerDistribution.Attribute.PartNumber" value: "PN-20" }
      alarms { description: "A" raisedAt: 300 device: 20 level: 3 levelText: "Critical" }
      alarms { description: "B" raisedAt: 100 device: 20 level: 2 }
      alarms { description: "C" raisedAt: 50 clearedAt: 150 device: 20 level: 7 levelText: "Critical" }
      alarms { description: "D" raisedAt: 50 clearedAt: 250 device: 20 level: 6 levelText: "Warning" }
      alarms { description: "E" raisedAt: 200 clearedAt: 200 device: 20 level: 4 })");
    std::string error;
    ASSERT_TRUE(simcard::CardFile::load(kCardFile, card().state(), error)) << error;
  }

  static dravo::CWallTime at(std::int64_t seconds) { return dravo::CWallTime(seconds, "%F %T"); }

  cdsapi::CdsAccessor accessor;
  cdsapi::InBandAccessor& inband = accessor.inbandAccessor();
  cdsapi::DataAlarms& alarms = accessor.alarmsAccessor();
};

// A card file that is not read leaves the card as it was: a FIFO without a writer (which would be
// waited for) or a device. (The tools' command lines show the other errors.)
TEST_F(SimulatedCardTest, CardFileThatIsNotReadLeavesTheCardAsItWas) {
  ASSERT_EQ(mkfifo((kCardFile + ".fifo").c_str(), 0600), 0);
  auto const loaded = card().state().SerializeAsString();
  for (auto const& [file, error] : {std::pair<std::string, std::string>{kCardFile + ".fifo", "a pipe without a writer"},
                                    {"/dev/zero", "not a regular file or a pipe"}}) {
    std::string why;
    EXPECT_FALSE(simcard::CardFile::load(file, card().state(), why));
    EXPECT_EQ(why, std::string(file).append(": cannot read: ").append(error));
    EXPECT_TRUE(card().state().SerializeAsString() == loaded) << file;
  }
}

// The parser's messages in our words, the place left to the caller; one that no rule knows keeps
// its words.
TEST(ParseMessage, SaysTheParsersMessagesInTheToolsWords) {
  std::pair<char const*, char const*> const cases[] = {
      {"Expected identifier, got: ", "expected a field name, found the end of the file"},
      {"Invalid value for boolean field \"enabled\". Value: \"yes\".",
       "bad value \"yes\" for field \"enabled\": give true or false"},
  };
  for (auto const& [message, reworded] : cases) {
    EXPECT_EQ(simcard::ParseMessage::reword(message), reworded) << message;
  }
}

// Every operation answers from the card's state, and raises from the chosen call of its own
// fault on, until the fault is cleared; a faulty logMessage writes nothing.
TEST_F(SimulatedCardTest, EveryOperationAnswersFromTheCardAndFailsFromItsFaultyCallOn) {
  std::string const pn = "PowerDistribution.Attribute.PartNumber";
  std::string const a = "A@300-0 20:3/Critical ", b = "B@100-0 20:2/- ", c = "C@50-150 20:7/Critical ",
                    d = "D@50-250 20:6/Warning ", e = "E@200-200 20:4/- ";
  struct Case {
    std::string operation;
    std::function<std::string()> call;
    std::string answer;
  };
  std::vector<Case> const cases = {
      {"getDeviceFriendlyName", [&] { return inband.getDeviceFriendlyName(20); }, "F"},
      {"getDeviceSwVersion", [&] { return inband.getDeviceSwVersion(20); }, "W"},
      {"getChannelId", [&] { return std::to_string(inband.getChannelId(20, pn)); }, "42"},
      {"getChannelCValue", [&] { return inband.getChannelCValue(42).as_string(); }, "PN-20"},
      {"get", [&] { return accessor.oobAccessor().get("EMAIL_CONFIGURATION").ShortDebugString(); }, ""},
      {"getActiveAlarmsFromDate", [&] { return listed(alarms.getActiveAlarmsFromDate(1, at(0))); }, a + b},
      {"getActiveAlarmsFromDate", [&] { return listed(alarms.getActiveAlarmsFromDate(1, at(300))); }, a},
      {"getClosedAlarmsFromDate", [&] { return listed(alarms.getClosedAlarmsFromDate(1, at(200))); }, d + e},
      {"getAlarmHistory", [&] { return listed(alarms.getAlarmHistory(1)); }, a + b + c + d + e},
      {"getAlarmHistory", [&] { return listed(alarms.getAlarmHistory(20)); }, ""},
      {"logMessage", logMessage, "m"},
  };
  for (auto const& test : cases) {
    card().setFault(test.operation, 2);
    EXPECT_EQ(test.call(), test.answer) << test.operation;
    auto const logged = card().cardLog().size();
    EXPECT_THROW(test.call(), std::runtime_error) << test.operation;
    EXPECT_THROW(test.call(), std::runtime_error) << test.operation;
    EXPECT_EQ(card().cardLog().size(), logged);
    card().setFault("");
    EXPECT_EQ(test.call(), test.answer) << test.operation;
  }
}

std::vector<std::string> sh(std::string const& script) { return {"/bin/sh", "-c", script}; }

// Real programs, run to their end or their deadline; every run ends within seconds. (That the
// deadline and the program's end also end what it left running, the mail command's tests show.)
TEST_F(SimulatedCardTest, RunsTheProgramWithItsInputAndGivesItsOutputsAndStatus) {
  std::string const large(3 << 20, 'x');
  struct Case {
    std::vector<std::string> args;
    std::string input;
    unsigned int timeoutSeconds;
    int status;
    std::string out, err;
  };
  Case const cases[] = {
      {sh("printf 'to out\\n'; printf 'to err' >&2; exit 3"), "", 10, 3, "to out\n", "to err"},
      {{"echo", "a b", "c"}, "", 10, 0, "a b c\n", ""},  // no shell; the bare name is found on the PATH
      {sh("cat; echo end"), "line 1\nline 2\n", 10, 0, "line 1\nline 2\nend\n", ""},
      {sh("cat; head -c 2000000 /dev/zero >&2"), large, 30, 0, large, std::string(2000000, '\0')},
      // The deadline ends a program that closed its outputs.
      {sh("exec >&- 2>&-; sleep 30"), "", 1, 128 + 9, "", ""},
      // A program that cannot be started raises the error of its start (negated here), not 127.
      {{"no-such-program-on-the-path"}, "", 10, -ENOENT, "", ""},
  };
  for (auto const& c : cases) {
    auto const start = std::chrono::steady_clock::now();
    std::stringstream out, err;
    std::string const name = ::testing::PrintToString(c.args);
    int status = 0;
    try {
      status = zorvan::exec(c.args, c.input, c.timeoutSeconds, &out, &err);
    } catch (std::system_error const& error) {
      status = -error.code().value();
    }
    EXPECT_EQ(status, c.status) << name;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << name;
    EXPECT_TRUE(out.str() == c.out && err.str() == c.err) << name << ": " << out.str().substr(0, 80);
  }
  EXPECT_THROW(zorvan::Exec({"/nonexistent/program"}, 10), std::system_error);
}

}  // namespace
}  // namespace emailservice::testing
