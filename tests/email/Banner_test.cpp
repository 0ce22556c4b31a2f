// The identification banner: its exact text, the host-address choice, the part-number channel,
// the system-name fallbacks, and the order in which its values are fetched.
#include <gtest/gtest.h>

#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "EmailTest.h"
#include "cdsapi/InBandAccessor.h"

namespace emailservice::testing {
namespace {

class Banner : public EmailTest {};

struct HostCase {
  char const* name;
  bool hasRecord;
  bool useFqdn;
  bool hideIpAddress;
  char const* hostLine;
  friend void PrintTo(HostCase const& testCase, std::ostream* out) { *out << testCase.name; }
};

class BannerHostLine : public EmailTest, public ::testing::WithParamInterface<HostCase> {};

TEST_P(BannerHostLine, WritesTheWholeBannerWithTheChosenHostAddress) {
  auto const& param = GetParam();
  if (param.hasRecord) {
    setUseFqdn(param.useFqdn);
  }
  auto email = makeEmail();
  email->setHideIpAddress(param.hideIpAddress);
  email->formatMessage();
  EXPECT_EQ(email->getMessage(), expectedBanner(param.hostLine));
}

INSTANTIATE_TEST_SUITE_P(
    HostAddress, BannerHostLine,
    ::testing::Values(HostCase{"Ipv4WhenShown", true, false, false, "Host address: https://192.0.2.7\n"},
                      HostCase{"NoRecordReadsAsIpv4", false, false, false, "Host address: https://192.0.2.7\n"},
                      HostCase{"NoLineWhenIpv4Hidden", true, false, true, ""},
                      HostCase{"NoRecordAndHiddenHasNoLine", false, false, true, ""},
                      HostCase{"FqdnWhenShown", true, true, false, "Host address: https://ups-a.example.net\n"},
                      HostCase{"FqdnEvenWhenIpHidden", true, true, true, "Host address: https://ups-a.example.net\n"}),
    [](auto const& caseInfo) { return std::string(caseInfo.param.name); });

TEST_F(Banner, EveryRuleAndHeaderLineIsSixtyCharactersBeforeItsLineFeed) {
  auto email = makeEmail();
  email->formatMessage();
  std::istringstream lines(email->getMessage());
  int rules = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("==", 0) == 0 || line.rfind("--", 0) == 0) {
      EXPECT_EQ(line.size(), 60u) << line;
      ++rules;
    }
  }
  EXPECT_EQ(rules, 4);
}

TEST_F(Banner, PartNumberIsEmptyAndItsValueIsNotReadWhenTheChannelIdIsAllOnes) {
  // A channel whose identifier is the "no channel" value: its value must never be asked for.
  card().state().clear_channels();
  auto* channel = card().state().add_channels();
  channel->set_id(cdsapi::InBandAccessor::kNoChannel);
  channel->set_device(20);
  channel->set_name("PowerDistribution.Attribute.PartNumber");
  channel->set_value("must not appear");
  card().setFault("getChannelCValue");
  auto email = makeEmail();
  email->formatDeviceInfo();
  EXPECT_EQ(email->getMessage(),
            "-- Monitored device ----------------------------------------\n"
            "Product: PowerBox 3000\nVendor: UpsMaker\nP/N: \nCTO: \nS/N: SN-200\nFW version: 2.0\nHW version: C\n");
}

TEST_F(Banner, PartNumberIsEmptyWhenTheMonitoredDeviceHasNoSuchChannel) {
  card().state().mutable_channels(0)->set_device(1);  // the card's channel of that name does not count
  auto email = makeEmail();
  email->formatDeviceInfo();
  EXPECT_NE(email->getMessage().find("\nVendor: UpsMaker\nP/N: \nCTO: \n"), std::string::npos);
}

TEST_F(Banner, EmptyValuesKeepTheirLines) {
  card().state().clear_devices();
  card().state().clear_channels();
  card().state().set_productname("");
  card().state().mutable_network()->set_macaddress("");
  auto email = makeEmail();
  email->setHideIpAddress(true);
  email->formatMessage();
  EXPECT_EQ(email->getMessage(),
            "== IDENTIFICATION ==========================================\n"
            "System name: \n\n"
            "-- Communication module ------------------------------------\n"
            "Product: \nVendor: \nC/N: \nP/N: \nS/N: \nFW version: \nHW version: \n"
            "MAC address: \n\n"
            "-- Monitored device ----------------------------------------\n"
            "Product: \nVendor: \nP/N: \nCTO: \nS/N: \nFW version: \nHW version: \n"
            "============================================================\n\n");
}

struct NameCase {
  char const* name;
  char const* friendlyName;
  char const* physicalName;
  char const* systemName;
  friend void PrintTo(NameCase const& testCase, std::ostream* out) { *out << testCase.name; }
};

class SystemName : public EmailTest, public ::testing::WithParamInterface<NameCase> {};

TEST_P(SystemName, SubjectAndBannerUseTheFriendlyNameOrElseThePhysicalName) {
  card().device(1).set_friendlyname(GetParam().friendlyName);
  card().device(20).set_physicalname(GetParam().physicalName);
  auto email = makeEmail();
  email->formatSubject();
  email->formatMessage();
  EXPECT_EQ(email->getSubject(), GetParam().systemName);
  EXPECT_EQ(email->getMessage().find(std::string("\nSystem name: ") + GetParam().systemName + "\n\n-- "), 60u);
}

INSTANTIATE_TEST_SUITE_P(Fallbacks, SystemName,
                         ::testing::Values(NameCase{"Friendly", "UPS-A", "PowerBox", "UPS-A"},
                                           NameCase{"PhysicalWhenNoFriendly", "", "PowerBox", "PowerBox"},
                                           NameCase{"BothEmpty", "", "", ""},
                                           NameCase{"BlankFriendlyIsNotEmpty", " ", "PowerBox", " "}),
                         [](auto const& caseInfo) { return std::string(caseInfo.param.name); });

// A failing data store call leaves the label of the failing value and lets the exception out.
struct FaultCase {
  char const* name;
  char const* operation;
  unsigned int callNumber;
  char const* endOfMessage;
  friend void PrintTo(FaultCase const& testCase, std::ostream* out) { *out << testCase.name; }
};

class BannerFault : public EmailTest, public ::testing::WithParamInterface<FaultCase> {};

TEST_P(BannerFault, LeavesWhatWasWrittenUpToTheFailingLabel) {
  card().setFault(GetParam().operation, GetParam().callNumber);
  auto email = makeEmail();
  EXPECT_THROW(email->formatMessage(), std::runtime_error);
  std::string const text = email->getMessage();
  std::string const end = GetParam().endOfMessage;
  ASSERT_GE(text.size(), end.size()) << text;
  EXPECT_EQ(text.substr(text.size() - end.size()), end) << text;
}

INSTANTIATE_TEST_SUITE_P(
    FetchOrder, BannerFault,
    ::testing::Values(FaultCase{"SystemName", "getDeviceFriendlyName", 1, "=\nSystem name: "},
                      FaultCase{"CardModel", "getDeviceModel", 1, "------\nProduct: "},
                      FaultCase{"CardVendor", "getDeviceVendor", 1, "\nProduct: NMC-2\nVendor: "},
                      FaultCase{"CardSerial", "getDeviceSerialNumber", 1, "\nP/N: PN-100\nS/N: "},
                      // The record is read after the "HW version: " line and before any host-address text.
                      FaultCase{"NetworkRecord", "get", 1, "\nFW version: 3.1.4\nHW version: B\n"},
                      // The channel is looked up before the monitored-device block begins.
                      FaultCase{"PartNumberChannel", "getChannelId", 1, "MAC address: 00:11:22:33:44:55\n\n"},
                      FaultCase{"DeviceName", "getDevicePhysicalName", 1, "------\nProduct: "},
                      FaultCase{"DeviceVendor", "getDeviceVendor", 2, "\nProduct: PowerBox 3000\nVendor: "},
                      FaultCase{"DeviceHwVersion", "getDeviceHwVersion", 2, "\nFW version: 2.0\nHW version: "}),
    [](auto const& caseInfo) { return std::string(caseInfo.param.name); });

TEST_F(Banner, ValuesAreWrittenAsTheStoreGivesThemEvenWithShellAndControlCharacters) {
  std::string const odd = "Room \"2\" \\ $HOME `id` \n\xc3\xa9\xff" + std::string(10 * 1024, 'x');
  card().device(20).set_vendor(odd);
  auto email = makeEmail();
  email->formatDeviceInfo();
  EXPECT_NE(email->getMessage().find("\nVendor: " + odd + "\nP/N: PN-200\n"), std::string::npos);
}

}  // namespace
}  // namespace emailservice::testing
