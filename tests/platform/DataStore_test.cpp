#include <gtest/gtest.h>

#include <stdexcept>

#include "cdsapi/AlarmInfos.h"
#include "cdsapi/CdsAccessor.h"
#include "cdsapi/DataAlarms.h"
#include "cdsapi/InBandAccessor.h"
#include "cdsapi/OobAccessor.h"
#include "cdsapi/dataLog.h"
#include "support/CardTest.h"

namespace emailservice::testing {
namespace {

class DataStoreTest : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    auto& ups = card().device(20);
    ups.set_friendlyname("Friendly");
    ups.set_physicalname("Physical");
    ups.set_model("Model");
    ups.set_vendor("Vendor");
    ups.set_partnumber("PN");
    ups.set_serialnumber("SN");
    ups.set_swversion("SW");
    ups.set_hwversion("HW");
  }

  cdsapi::CdsAccessor accessor;
  cdsapi::InBandAccessor& inband = accessor.inbandAccessor();
};

TEST_F(DataStoreTest, DeviceAttributesComeFromTheirOwnFields) {
  using Getter = std::string (cdsapi::InBandAccessor::*)(unsigned long long) const;
  struct Case {
    Getter getter;
    char const* expected;
  };
  Case const cases[] = {
      {&cdsapi::InBandAccessor::getDeviceFriendlyName, "Friendly"},
      {&cdsapi::InBandAccessor::getDevicePhysicalName, "Physical"},
      {&cdsapi::InBandAccessor::getDeviceModel, "Model"},
      {&cdsapi::InBandAccessor::getDeviceVendor, "Vendor"},
      {&cdsapi::InBandAccessor::getDevicePartNumber, "PN"},
      {&cdsapi::InBandAccessor::getDeviceSerialNumber, "SN"},
      {&cdsapi::InBandAccessor::getDeviceSwVersion, "SW"},
      {&cdsapi::InBandAccessor::getDeviceHwVersion, "HW"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ((inband.*c.getter)(20), c.expected);
    EXPECT_EQ((inband.*c.getter)(1), "") << "unknown device " << c.expected;
  }
}

TEST_F(DataStoreTest, DeviceAddedByTheCardIsReusedNotDuplicated) {
  card().device(20).set_vendor("Other");
  EXPECT_EQ(card().state().devices_size(), 1);
  EXPECT_EQ(inband.getDeviceVendor(20), "Other");
}

TEST_F(DataStoreTest, ChannelIsFoundByDeviceAndName) {
  auto* channel = card().state().add_channels();
  channel->set_id(42);
  channel->set_device(20);
  channel->set_name("PowerDistribution.Attribute.PartNumber");
  channel->set_value("PN-20");

  EXPECT_EQ(inband.getChannelId(20, "PowerDistribution.Attribute.PartNumber"), 42U);
  EXPECT_EQ(inband.getChannelId(1, "PowerDistribution.Attribute.PartNumber"), cdsapi::InBandAccessor::kNoChannel);
  EXPECT_EQ(inband.getChannelId(20, "Other"), cdsapi::InBandAccessor::kNoChannel);
  EXPECT_EQ(cdsapi::InBandAccessor::kNoChannel, 0xFFFFFFFFFFFFFFFFULL);
  EXPECT_EQ(inband.getChannelCValue(42).as_string(), "PN-20");
  EXPECT_EQ(inband.getChannelCValue(43).as_string(), "");
}

TEST_F(DataStoreTest, RecordIsReadByKeyAndAMissingKeyReadsEmpty) {
  dravo::proto::toolkitStruct record;
  record.mutable_networkinterface()->mutable_usefqdn()->set_value(true);
  card().setRecord("NETWORK_INTERFACE", record);
  record.mutable_networkinterface()->mutable_usefqdn()->set_value(false);
  card().setRecord("NETWORK_INTERFACE", record);  // replaces, does not add

  EXPECT_EQ(card().state().records_size(), 1);
  auto const read = accessor.oobAccessor().get("NETWORK_INTERFACE");
  EXPECT_TRUE(read.networkinterface().has_usefqdn());
  EXPECT_FALSE(read.networkinterface().usefqdn().value());
  EXPECT_EQ(accessor.oobAccessor().get("EMAIL_CONFIGURATION").ByteSizeLong(), 0U);
}

TEST_F(DataStoreTest, LogMessageKeepsEveryArgumentInOrder) {
  cdsapi::dataLog::logMessage(cdsapi::enLogCategoryEmail, 8, 3, cdsapi::SEVERITY_ERROR, "src", 5, "first");
  cdsapi::dataLog::logMessage(cdsapi::enLogCategorySystem, 12, 0, cdsapi::SEVERITY_INFORMATIONAL, "", 0, "second");
  auto const& log = card().cardLog();
  ASSERT_EQ(log.size(), 2U);
  EXPECT_EQ(log[0].category, 12);
  EXPECT_EQ(log[0].eventId, 8);
  EXPECT_EQ(log[0].deviceId, 3);
  EXPECT_EQ(log[0].severity, 3);
  EXPECT_EQ(log[0].source, "src");
  EXPECT_EQ(log[0].channelId, 5);
  EXPECT_EQ(log[0].message, "first");
  EXPECT_EQ(log[1].category, 1);
  EXPECT_EQ(log[1].severity, 6);
  EXPECT_EQ(log[1].message, "second");
}

TEST_F(DataStoreTest, FaultRaisesOnlyInItsOperationFromTheChosenCallOn) {
  card().setFault("getDeviceVendor", 2);
  EXPECT_EQ(inband.getDeviceModel(20), "Model");
  EXPECT_EQ(inband.getDeviceVendor(20), "Vendor");
  EXPECT_THROW(inband.getDeviceVendor(20), std::runtime_error);
  EXPECT_THROW(inband.getDeviceVendor(20), std::runtime_error);
  card().setFault("");
  EXPECT_EQ(inband.getDeviceVendor(20), "Vendor");
}

TEST_F(DataStoreTest, EveryStoreOperationChecksItsFault) {
  struct Case {
    char const* operation;
    std::function<void()> call;
  };
  dravo::CWallTime const from(0, "%F %T");
  std::vector<Case> const cases = {
      {"getDeviceFriendlyName", [&] { inband.getDeviceFriendlyName(20); }},
      {"getDevicePhysicalName", [&] { inband.getDevicePhysicalName(20); }},
      {"getDeviceModel", [&] { inband.getDeviceModel(20); }},
      {"getDeviceVendor", [&] { inband.getDeviceVendor(20); }},
      {"getDevicePartNumber", [&] { inband.getDevicePartNumber(20); }},
      {"getDeviceSerialNumber", [&] { inband.getDeviceSerialNumber(20); }},
      {"getDeviceSwVersion", [&] { inband.getDeviceSwVersion(20); }},
      {"getDeviceHwVersion", [&] { inband.getDeviceHwVersion(20); }},
      {"getChannelId", [&] { inband.getChannelId(20, "x"); }},
      {"getChannelCValue", [&] { inband.getChannelCValue(1); }},
      {"get", [&] { accessor.oobAccessor().get("x"); }},
      {"getActiveAlarmsFromDate", [&] { accessor.alarmsAccessor().getActiveAlarmsFromDate(1, from); }},
      {"getClosedAlarmsFromDate", [&] { accessor.alarmsAccessor().getClosedAlarmsFromDate(1, from); }},
      {"getAlarmHistory", [&] { accessor.alarmsAccessor().getAlarmHistory(1); }},
      {"logMessage",
       [] { cdsapi::dataLog::logMessage(cdsapi::enLogCategoryEmail, 8, 0, cdsapi::SEVERITY_ERROR, "", 0, "m"); }},
  };
  for (auto const& c : cases) {
    card().setFault(c.operation);
    EXPECT_THROW(c.call(), std::runtime_error) << c.operation;
    card().setFault("");
    EXPECT_NO_THROW(c.call()) << c.operation;
  }
  EXPECT_EQ(card().cardLog().size(), 1U) << "the faulty logMessage wrote nothing";
}

TEST_F(DataStoreTest, ResetEmptiesStateLogHookAndFault) {
  cdsapi::dataLog::logMessage(cdsapi::enLogCategoryEmail, 8, 0, cdsapi::SEVERITY_ERROR, "", 0, "m");
  card().setFault("getDeviceVendor");
  recordCommands();
  card().reset();
  EXPECT_EQ(card().state().devices_size(), 0);
  EXPECT_TRUE(card().cardLog().empty());
  EXPECT_FALSE(card().getCommandHook());
  EXPECT_NO_THROW(inband.getDeviceVendor(20));
}

class AlarmHistoryTest : public CardTest {
 protected:
  // Store order deliberately not chronological.
  void SetUp() override {
    CardTest::SetUp();
    add(300, 0, 3, "Critical", "active late");
    add(100, 0, 2, nullptr, "active early");
    add(50, 150, 7, "Critical", "cleared before the start");
    add(50, 250, 6, "Warning", "cleared after the start");
    add(200, 200, 4, nullptr, "cleared at the start");
  }

  void add(std::int64_t raised, std::int64_t cleared, int level, char const* levelText, char const* description) {
    auto* alarm = card().state().add_alarms();
    alarm->set_raisedat(raised);
    if (cleared != 0) {
      alarm->set_clearedat(cleared);
    }
    alarm->set_device(20);
    alarm->set_level(level);
    if (levelText != nullptr) {
      alarm->set_leveltext(levelText);
    }
    alarm->set_description(description);
  }

  static std::vector<std::string> descriptions(std::vector<dravo::CAlarmUpdate> const& updates) {
    std::vector<std::string> texts;
    for (auto const& update : updates) {
      texts.push_back(update.getDescription());
    }
    return texts;
  }

  cdsapi::CdsAccessor accessor;
  cdsapi::DataAlarms& alarms = accessor.alarmsAccessor();
};

TEST_F(AlarmHistoryTest, SelectionByDateKeepsStoreOrder) {
  struct Case {
    std::int64_t from;
    std::vector<std::string> active;
    std::vector<std::string> closed;
  };
  std::vector<Case> const cases = {
      {0,
       {"active late", "active early"},
       {"cleared before the start", "cleared after the start", "cleared at the start"}},
      {200, {"active late"}, {"cleared after the start", "cleared at the start"}},
      {201, {"active late"}, {"cleared after the start"}},
      {301, {}, {}},
  };
  for (auto const& c : cases) {
    dravo::CWallTime const from(c.from, "%F %T");
    EXPECT_EQ(descriptions(alarms.getActiveAlarmsFromDate(1, from)), c.active) << "from " << c.from;
    EXPECT_EQ(descriptions(alarms.getClosedAlarmsFromDate(1, from)), c.closed) << "from " << c.from;
  }
  EXPECT_EQ(alarms.getAlarmHistory(1).size(), 5U);
}

TEST_F(AlarmHistoryTest, OtherHistoriesAreEmpty) {
  dravo::CWallTime const from(0, "%F %T");
  EXPECT_TRUE(alarms.getActiveAlarmsFromDate(2, from).empty());
  EXPECT_TRUE(alarms.getClosedAlarmsFromDate(0, from).empty());
  EXPECT_TRUE(alarms.getAlarmHistory(20).empty());
}

TEST_F(AlarmHistoryTest, RecordCarriesTimesDeviceLevelAndText) {
  auto const history = alarms.getAlarmHistory(1);
  ASSERT_EQ(history.size(), 5U);
  EXPECT_EQ(history[0].getTimestamp().seconds(), 300);
  EXPECT_EQ(history[0].getDeviceId(), 20U);
  EXPECT_EQ(history[0].getLevel(), 3);
  EXPECT_TRUE(history[0].isActive());
  EXPECT_EQ(history[3].getClearedAt()->seconds(), 250);

  cdsapi::AlarmInfos const withText(history[0]);
  ASSERT_NE(withText.getLevelString(), nullptr);
  EXPECT_STREQ(withText.getLevelString(), "Critical");
  EXPECT_EQ(withText.getDescriptionString(), "active late");
  cdsapi::AlarmInfos const withoutText(history[1]);
  EXPECT_EQ(withoutText.getLevelString(), nullptr);
}

TEST(TimestampTest, FormatsInUtcAndGivesEmptyTextWhenItCannot) {
  EXPECT_EQ(dravo::CTimestamp(0).get_time_str(true, "%F %T"), "1970-01-01 00:00:00");
  EXPECT_EQ(dravo::CTimestamp(1700000000).get_time_str(true, "%F %T"), "2023-11-14 22:13:20");
  EXPECT_EQ(dravo::CTimestamp(1700000000).get_time_str(true, ""), "");
  EXPECT_EQ(dravo::CTimestamp(1700000000).get_time_str(true, nullptr), "");
  EXPECT_EQ(dravo::CTimestamp(INT64_MAX).get_time_str(true, "%F %T"), "");
}

}  // namespace
}  // namespace emailservice::testing
