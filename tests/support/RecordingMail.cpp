#include "support/RecordingMail.h"

#include <google/protobuf/text_format.h>
#include <unistd.h>

#include <cstdlib>

#include "dravo_config.pb.h"
#include "support/WholeCall.h"

namespace emailservice::testing {

namespace fs = std::filesystem;

RecordingMailTest::RecordingMailTest()
    : root(fs::temp_directory_path() / ("emailservice-mail-" + std::to_string(getpid()))),
      scratch(root / "cwd"),
      record((root / "words").string()) {}

void RecordingMailTest::SetUp() {
  CardTest::SetUp();
  fs::create_directories(scratch);
  fs::current_path(scratch);
  setenv("PATH", (std::string(EMAILSERVICE_SOURCE_DIR "/tests/support/bin:") + std::getenv("PATH")).c_str(), 1);
  setenv("HARDENING_RECORD", record.c_str(), 1);
}

void RecordingMailTest::TearDown() {
  fs::remove_all(root);
  unsetenv("HARDENING_FAULT");
  unsetenv("HARDENING_SENT");
  unsetenv("HARDENING_REFUSE");
  CardTest::TearDown();
}

void storeConfigurations(std::vector<std::string> const& ids, std::string const& recipients, std::string const& more) {
  dravo::proto::EmailConfiguration configuration;
  google::protobuf::TextFormat::MergeFromString(
      "enabled { value: true } eventNotification { value: true } "
      "upsEventTable { critical { subscribed { value: true } } } " +
          more,
      &configuration);
  configuration.mutable_recipients()->set_value(recipients);
  dravo::proto::toolkitStruct record;
  record.mutable_emailconfigurationlist()->add_configurations();
  for (auto const& id : ids) {
    configuration.mutable_id()->set_value(id);
    *record.mutable_emailconfigurationlist()->add_configurations() = configuration;
  }
  simcard::SimulatedCard::instance().setRecord("EMAIL_CONFIGURATION", record);
}

ErrorCode sendAlarm(std::string const& description) {
  return manageEmails(EmailEvent{EventType::Ups, "2026-11-23 10:00:00", EventLevel::Critical, "1A", 1, description});
}

}  // namespace emailservice::testing
