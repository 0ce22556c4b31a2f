// The walk of the configuration list: which configurations are looked at, in which order, where
// the walk stops, and which result the call returns.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cdsapi/CdsAccessor.h"
#include "dispatch/DispatchCard.h"
#include "emailservice/EmailService.h"
#include "support/CardTest.h"

namespace emailservice::testing {
namespace {

class ServiceWalkTest : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    setUpNamedCard(card());
  }

  // Records every mail command; those addressed to `failing` print the mail command's failure.
  void recordFailingFor(std::string const& failing) {
    card().setCommandHook(
        [this, failing](std::vector<std::string> const& args, std::string const&, std::string& printed) {
          if (args.size() == 3 && args[0] == "/bin/sh") {
            mailed.push_back(recipientsOf(args[2]));
            if (mailed.back() == failing) {
              printed = "Could not send the message\n";
            }
          }
          return 0;
        });
  }

  ErrorCode fire(EmailEvent const& event) {
    cdsapi::CdsAccessor accessor;
    return EmailService(accessor).manageEmails(event);
  }

  // The template at position 0 would mail everything to "template@example.com" if it were walked.
  dravo::proto::EmailConfigurationList listWithTemplate() {
    dravo::proto::EmailConfigurationList list;
    *list.add_configurations() = sendingConfiguration("0", "template@example.com");
    return list;
  }

  std::vector<std::string> mailed;  // recipients of the mail commands, in order
};

TEST_F(ServiceWalkTest, AbsentEmptyOrTemplateOnlyListsSendNothingAndSucceed) {
  recordFailingFor("");
  EXPECT_EQ(fire(makeEvent(EventType::Ups, "2A01")), ErrorCode::Success) << "no record";
  storeConfigurations(card(), {});
  EXPECT_EQ(fire(makeEvent(EventType::Ups, "2A01")), ErrorCode::Success) << "no entry";
  storeConfigurations(card(), listWithTemplate());
  EXPECT_EQ(fire(makeEvent(EventType::Ups, "2A01")), ErrorCode::Success) << "template only";
  EXPECT_EQ(fire(makeEvent(EventType::Test, "0")), ErrorCode::Success) << "test addressed to the template";
  EXPECT_TRUE(mailed.empty());
}

TEST_F(ServiceWalkTest, WalksFromTheSecondEntryInListOrder) {
  auto list = listWithTemplate();
  *list.add_configurations() = sendingConfiguration("1", "first@example.com");
  *list.add_configurations() = sendingConfiguration("2", "second@example.com");
  storeConfigurations(card(), list);
  recordFailingFor("");
  EXPECT_EQ(fire(makeEvent(EventType::Ups, "2A01")), ErrorCode::Success);
  EXPECT_EQ(mailed, (std::vector<std::string>{"first@example.com", "second@example.com"}));
}

TEST_F(ServiceWalkTest, AlarmResultIsThatOfTheLastConfiguration) {
  auto list = listWithTemplate();
  *list.add_configurations() = sendingConfiguration("1", "bad@example.com");
  *list.add_configurations() = sendingConfiguration("2", "good@example.com");
  storeConfigurations(card(), list);
  recordFailingFor("bad@example.com");
  EXPECT_EQ(fire(makeEvent(EventType::Ups, "2A01")), ErrorCode::Success) << "failing one first";

  list.mutable_configurations()->SwapElements(1, 2);
  storeConfigurations(card(), list);
  mailed.clear();
  EXPECT_EQ(fire(makeEvent(EventType::Ups, "2A01")), ErrorCode::SendError) << "failing one last";
  EXPECT_EQ(mailed, (std::vector<std::string>{"good@example.com", "bad@example.com"}));
}

TEST_F(ServiceWalkTest, DisabledConfigurationsAreSkippedWithoutChangingTheResult) {
  auto list = listWithTemplate();
  *list.add_configurations() = sendingConfiguration("1", "bad@example.com");
  *list.add_configurations() = sendingConfiguration("2", "off@example.com");
  list.mutable_configurations(2)->mutable_enabled()->set_value(false);
  storeConfigurations(card(), list);
  recordFailingFor("bad@example.com");
  EXPECT_EQ(fire(makeEvent(EventType::Ups, "2A01")), ErrorCode::SendError);
  EXPECT_EQ(mailed, (std::vector<std::string>{"bad@example.com"}));
}

TEST_F(ServiceWalkTest, TestAndPeriodicEventsStopAtTheAddressedConfiguration) {
  // A later configuration with the same id would answer again if the walk went on.
  auto list = listWithTemplate();
  *list.add_configurations() = sendingConfiguration("1", "other@example.com");
  *list.add_configurations() = sendingConfiguration("5", "addressed@example.com");
  *list.add_configurations() = sendingConfiguration("5", "duplicate@example.com");
  storeConfigurations(card(), list);
  for (std::int32_t type : {EventType::Test, EventType::Periodic}) {
    SCOPED_TRACE(type);
    mailed.clear();
    recordFailingFor("");
    EXPECT_EQ(fire(makeEvent(type, "5")), ErrorCode::TestEmailSucceeded);
    EXPECT_EQ(mailed, (std::vector<std::string>{"addressed@example.com"}));
    mailed.clear();
    recordFailingFor("addressed@example.com");
    EXPECT_EQ(fire(makeEvent(type, "5")), ErrorCode::TestEmailFailed);
    EXPECT_EQ(mailed, (std::vector<std::string>{"addressed@example.com"}));
  }
}

TEST_F(ServiceWalkTest, TestForADisabledConfigurationFailsAndEndsTheWalk) {
  auto list = listWithTemplate();
  *list.add_configurations() = sendingConfiguration("1", "other@example.com");
  *list.add_configurations() = sendingConfiguration("5", "disabled@example.com");
  list.mutable_configurations(2)->mutable_enabled()->set_value(false);
  *list.add_configurations() = sendingConfiguration("5", "duplicate@example.com");
  storeConfigurations(card(), list);
  recordFailingFor("");
  EXPECT_EQ(fire(makeEvent(EventType::Test, "5")), ErrorCode::TestEmailFailed);
  EXPECT_TRUE(mailed.empty());
  // A periodic report for a disabled configuration is not a failure: the next one with its id sends it.
  EXPECT_EQ(fire(makeEvent(EventType::Periodic, "5")), ErrorCode::TestEmailSucceeded);
  EXPECT_EQ(mailed, (std::vector<std::string>{"duplicate@example.com"}));
}

TEST_F(ServiceWalkTest, TestForAnUnknownIdSendsNothingAndSucceeds) {
  auto list = listWithTemplate();
  *list.add_configurations() = sendingConfiguration("1");
  *list.add_configurations() = sendingConfiguration("2");
  storeConfigurations(card(), list);
  recordFailingFor("");
  EXPECT_EQ(fire(makeEvent(EventType::Test, "9")), ErrorCode::Success);
  EXPECT_TRUE(mailed.empty());
}

TEST_F(ServiceWalkTest, ConfigurationWithNothingSetIsDisabledAndFailsATestForTheEmptyId) {
  auto list = listWithTemplate();
  list.add_configurations();
  storeConfigurations(card(), list);
  recordFailingFor("");
  EXPECT_EQ(fire(makeEvent(EventType::Ups, "2A01")), ErrorCode::Success);
  EXPECT_EQ(fire(makeEvent(EventType::Test, "")), ErrorCode::TestEmailFailed);
  EXPECT_TRUE(mailed.empty());
}

TEST_F(ServiceWalkTest, ThousandEntriesAreAllWalked) {
  auto list = listWithTemplate();
  for (int i = 1; i < 1000; ++i) {
    auto configuration = sendingConfiguration(std::to_string(i), "r" + std::to_string(i) + "@example.com");
    configuration.mutable_eventnotification()->set_value(i == 999);
    *list.add_configurations() = configuration;
  }
  storeConfigurations(card(), list);
  recordFailingFor("r999@example.com");
  EXPECT_EQ(fire(makeEvent(EventType::Ups, "2A01")), ErrorCode::SendError);
  EXPECT_EQ(mailed, (std::vector<std::string>{"r999@example.com"}));
  mailed.clear();
  EXPECT_EQ(fire(makeEvent(EventType::Test, "998")), ErrorCode::TestEmailSucceeded);
  EXPECT_EQ(mailed, (std::vector<std::string>{"r998@example.com"}));
}

TEST_F(ServiceWalkTest, DataStoreFailurePassesToTheCaller) {
  storeConfigurations(card(), listWithTemplate());
  card().setFault("get");
  EXPECT_THROW(fire(makeEvent(EventType::Ups, "2A01")), std::exception);
}

}  // namespace
}  // namespace emailservice::testing
