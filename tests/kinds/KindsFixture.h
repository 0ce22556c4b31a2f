// Shared by the tests of the e-mail kinds: a simulated card with a known identity, fake log
// attachments that return chosen statuses and record their calls, the measures directories, and
// the comparison of a body file with its reviewed golden text.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "cdsapi/CdsAccessor.h"
#include "dravo_config.pb.h"
#include "email/EmailGlobalConfig.h"
#include "emailservice/EmailEvent.h"
#include "kinds/EmailException.h"
#include "kinds/EmailNotifsConfig.h"
#include "kinds/EmailPeriodicConfig.h"
#include "kinds/EmailSystemNotif.h"
#include "kinds/EmailTestConfig.h"
#include "logfiles/EventLogFile.h"
#include "support/CardTest.h"

namespace emailservice::testing {

// Path of a file in the library's work directory.
inline std::string work(std::string const& name) { return std::string(paths::kWorkDirectory) + name; }

// The list that the system logs give for the work directory: it starts with its own blank.
inline std::string systemLogList() {
  return " " + work("logUpdate.csv") + " " + work("logAccount.csv") + " " + work("logSession.csv") + " " +
         work("logSystem.csv");
}

// A log attachment that generates nothing: it returns `status` and records each call.
class FakeLogFile final : public EventLogFile {
 public:
  explicit FakeLogFile(std::string listText) : EventLogFile(listText), text(std::move(listText)) {}

  std::int32_t generateFiles(unsigned int count) override {
    calls.push_back("generateFiles(" + std::to_string(count) + ")");
    return status;
  }
  std::int32_t generateFilesFromDate(long fromTime) override {
    calls.push_back("generateFilesFromDate(" + std::to_string(fromTime) + ")");
    return status;
  }
  std::string getLogFileName() const override { return text; }

  std::int32_t status = 0;
  std::vector<std::string> calls;

 private:
  std::string text;
};

// What the measures service keeps in one of its directories.
enum class Measures {
  Records,    // the directory with its records.csv: the export succeeds
  NoRecords,  // the directory without records.csv: the export fails
  NoDirectory,
};

inline void prepareMeasures(std::string const& directory, Measures measures) {
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
  if (measures == Measures::NoDirectory) {
    return;
  }
  std::filesystem::create_directories(directory);
  if (measures == Measures::Records) {
    writeFile(directory + "/records.csv",
              "time,inputVoltage,outputVoltage,load\n"
              "1714568400,230.1,229.8,41\n"
              "1714568460,229.7,229.9,43\n");
  }
}

enum class Kind { Alarm, SystemEvent, Exception, Test, Periodic };

inline char const* kindName(Kind kind) {
  switch (kind) {
    case Kind::Alarm:
      return "Alarm";
    case Kind::SystemEvent:
      return "SystemEvent";
    case Kind::Exception:
      return "Exception";
    case Kind::Test:
      return "Test";
    case Kind::Periodic:
      return "Periodic";
  }
  return "?";
}

// An entry with the four flags of one level.
struct Flags {
  bool subscribed;
  bool systemLog;
  bool alarmLog;
  bool measureLog;
};

inline void setFlags(dravo::proto::EventConfiguration& entry, Flags flags) {
  entry.mutable_subscribed()->set_value(flags.subscribed);
  entry.mutable_systemlogselected()->set_value(flags.systemLog);
  entry.mutable_alarmlogselected()->set_value(flags.alarmLog);
  entry.mutable_measurelogselected()->set_value(flags.measureLog);
}

inline std::string formatUtc(std::time_t seconds) {
  std::tm fields{};
  gmtime_r(&seconds, &fields);
  char text[32];
  return std::string(text, std::strftime(text, sizeof text, "%F %T", &fields));
}

// A card with a complete identity (devices 1 and 20, the part-number channel, the network facts,
// the product name, the NETWORK_INTERFACE record), its directories empty, and the mail command
// recorded instead of run.
class KindsTest : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    auto& state = card().state();
    auto& module = card().device(1);
    module.set_friendlyname("Room 2 UPS");
    module.set_model("NMC-3");
    module.set_vendor("Alder Power");
    module.set_partnumber("NMC3-PN-001");
    module.set_serialnumber("SN-NMC-0042");
    module.set_swversion("2.4.1");
    module.set_hwversion("B");
    auto& ups = card().device(20);
    ups.set_physicalname("Alder 3000 RT");
    ups.set_vendor("Alder Power");
    ups.set_serialnumber("SN-UPS-7781");
    ups.set_swversion("05.12");
    ups.set_hwversion("A2");
    auto& channel = *state.add_channels();
    channel.set_id(501);
    channel.set_device(20);
    channel.set_name("PowerDistribution.Attribute.PartNumber");
    channel.set_value("AP3000RT-EU");
    state.set_productname("Alder NMC");
    state.mutable_network()->set_fqdn("ups-room2.example.net");
    state.mutable_network()->set_ipv4address("192.0.2.17");
    state.mutable_network()->set_macaddress("00:11:22:AA:BB:CC");
    dravo::proto::toolkitStruct networkInterface;
    networkInterface.mutable_networkinterface()->mutable_usefqdn()->set_value(false);
    card().setRecord("NETWORK_INTERFACE", networkInterface);
    prepareMeasures(paths::kUpsMeasuresDirectory, Measures::Records);
    prepareMeasures(paths::kSensorMeasuresDirectory, Measures::Records);
    recordCommands();
  }

  // Neither the card nor the monitored device has a name.
  void clearSystemName() {
    card().device(1).clear_friendlyname();
    card().device(20).clear_physicalname();
  }

  // The shell command run by the library, with the test's path prefix taken out so that the
  // expected texts read as on the card.
  std::string mailCommand() const {
    auto const shellCommands = recordedShellCommands();
    if (shellCommands.size() != 1) {
      ADD_FAILURE() << shellCommands.size() << " shell commands were run instead of one";
      return {};
    }
    return withoutPrefix(shellCommands.front());
  }

  static std::string withoutPrefix(std::string text) {
    std::string const prefix = paths::kPathPrefix;
    if (prefix.empty()) {
      return text;
    }
    for (auto at = text.find(prefix); at != std::string::npos; at = text.find(prefix, at)) {
      text.erase(at, prefix.size());
    }
    return text;
  }

  // Builds `kind` for `event` as the dispatcher would: the alarm export or the system logs as
  // its log, a work file of its own, `table` for the alarm and system event kinds and
  // `periodicConfiguration` for the periodic report.
  std::unique_ptr<EmailGlobalConfig> makeKind(Kind kind, EmailEvent const& event) {
    switch (kind) {
      case Kind::Alarm:
        bodyFile = work("2ups.txt");
        return std::make_unique<EmailNotifsConfig>(accessor, event, alarmExport, bodyFile, table);
      case Kind::SystemEvent:
        bodyFile = work("2card.txt");
        return std::make_unique<EmailSystemNotif>(accessor, event, systemLogs, bodyFile, table);
      case Kind::Exception:
        bodyFile = work(event.type == EventType::Ups ? "2ups.txt" : "2card.txt");
        return std::make_unique<EmailException>(accessor, event,
                                                event.type == EventType::Ups ? alarmExport : systemLogs, bodyFile);
      case Kind::Test:
        bodyFile = work("2test.txt");
        return std::make_unique<EmailTestConfig>(accessor, event, systemLogs, bodyFile);
      case Kind::Periodic:
        bodyFile = work("2report.txt");
        return std::make_unique<EmailPeriodicConfig>(accessor, event, alarmExport, systemLogs, bodyFile,
                                                     periodicConfiguration);
    }
    return nullptr;
  }

  // The mail command for the composed e-mail, as it must read on the card.
  std::string expectedCommand(EmailGlobalConfig const& email) const {
    std::string const attachments = email.getAttachments();
    return "sudo -u email sendemail -s \"" + email.getSubject() + "\"" +
           (attachments.empty() ? "" : " -a" + withoutPrefix(attachments)) + " -- ops < " + withoutPrefix(bodyFile);
  }

  static constexpr long kPeriodStart = 1714521600;  // 2024-05-01 00:00:00 UTC

  cdsapi::CdsAccessor accessor;
  FakeLogFile alarmExport{work("logAlarm.csv")};
  FakeLogFile systemLogs{systemLogList()};
  dravo::proto::EventConfigurationTable table;
  dravo::proto::PeriodicConfiguration periodicConfiguration;
  std::string bodyFile;
};

inline std::string golden(std::string const& name) {
  return readFile(std::string(EMAILSERVICE_SOURCE_DIR) + "/tests/kinds/golden/" + name);
}

// Replaces the one time that `clock` (a regex whose first group is the time) finds in `body` by
// "<now>", after checking that it lies between `before` and `after` (both "%F %T" in UTC, which
// compare as texts).
inline std::string withClockReplaced(std::string body, std::string const& clock, std::string const& before,
                                     std::string const& after) {
  std::smatch match;
  if (!std::regex_search(body, match, std::regex(clock))) {
    ADD_FAILURE() << "no composing time matches " << clock;
    return body;
  }
  std::string const time = match.str(1);
  EXPECT_LE(before, time);
  EXPECT_GE(after, time);
  return body.replace(static_cast<std::string::size_type>(match.position(1)), time.size(), "<now>");
}

}  // namespace emailservice::testing
