// Fixture of the e-mail base tests (header only: each test folder builds its *_test.cpp files): a simulated card with a
// known communication module and monitored device, and the references that an e-mail kind is built on.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "ChosenFilesEmail.h"
#include "cdsapi/CdsAccessor.h"
#include "dravo_config.pb.h"
#include "emailservice/EmailEvent.h"
#include "logfiles/UpsEventLogFile.h"
#include "support/CardTest.h"

namespace emailservice::testing {

class EmailTest : public CardTest {
 protected:
  void SetUp() override;

  // Fills devices 1 and 20, the product name, the network facts and the part-number channel
  // with distinct values (those of kFullBanner below).
  void fillCard();
  // Sets the "NETWORK_INTERFACE" record with the FQDN flag.
  void setUseFqdn(bool useFqdn);

  std::unique_ptr<ChosenFilesEmail> makeEmail(std::vector<std::string> files = {});
  // `bodyPath` is held by reference: it must outlive the e-mail.
  std::unique_ptr<ChosenFilesEmail> makeEmail(std::string const& bodyPath, std::vector<std::string> files);

  static std::string workPath(std::string const& name) { return std::string(paths::kWorkDirectory) + name; }

  cdsapi::CdsAccessor accessor;
  EmailEvent event{EventType::Test, "2024-05-01 13:07:42", EventLevel::Informational, "3", 1, "Test"};
  UpsEventLogFile alarmLog{workPath("logAlarm.csv")};
  std::string bodyFile = workPath("body.txt");
};

// The banner for the card of fillCard(), with `hostLine` ("" or a whole "Host address: " line).
std::string expectedBanner(std::string const& hostLine);

inline void EmailTest::SetUp() {
  CardTest::SetUp();
  fillCard();
}

inline void EmailTest::fillCard() {
  auto& cardModule = card().device(1);
  cardModule.set_friendlyname("UPS-A");
  cardModule.set_model("NMC-2");
  cardModule.set_vendor("CardMaker");
  cardModule.set_partnumber("PN-100");
  cardModule.set_serialnumber("SN-100");
  cardModule.set_swversion("3.1.4");
  cardModule.set_hwversion("B");
  auto& device = card().device(20);
  device.set_physicalname("PowerBox 3000");
  device.set_vendor("UpsMaker");
  device.set_partnumber("attribute, not channel");
  device.set_serialnumber("SN-200");
  device.set_swversion("2.0");
  device.set_hwversion("C");
  auto* channel = card().state().add_channels();
  channel->set_id(42);
  channel->set_device(20);
  channel->set_name("PowerDistribution.Attribute.PartNumber");
  channel->set_value("PN-200");
  card().state().set_productname("Network Card Pro");
  auto* network = card().state().mutable_network();
  network->set_fqdn("ups-a.example.net");
  network->set_ipv4address("192.0.2.7");
  network->set_macaddress("00:11:22:33:44:55");
}

inline void EmailTest::setUseFqdn(bool useFqdn) {
  dravo::proto::toolkitStruct record;
  record.mutable_networkinterface()->mutable_usefqdn()->set_value(useFqdn);
  card().setRecord("NETWORK_INTERFACE", record);
}

inline std::unique_ptr<ChosenFilesEmail> EmailTest::makeEmail(std::vector<std::string> files) {
  return makeEmail(bodyFile, std::move(files));
}

inline std::unique_ptr<ChosenFilesEmail> EmailTest::makeEmail(std::string const& bodyPath,
                                                              std::vector<std::string> files) {
  return std::make_unique<ChosenFilesEmail>(accessor, event, alarmLog, bodyPath, std::move(files));
}

inline std::string expectedBanner(std::string const& hostLine) {
  return "== IDENTIFICATION ==========================================\n"
         "System name: UPS-A\n"
         "\n"
         "-- Communication module ------------------------------------\n"
         "Product: NMC-2\n"
         "Vendor: CardMaker\n"
         "C/N: Network Card Pro\n"
         "P/N: PN-100\n"
         "S/N: SN-100\n"
         "FW version: 3.1.4\n"
         "HW version: B\n" +
         hostLine +
         "MAC address: 00:11:22:33:44:55\n"
         "\n"
         "-- Monitored device ----------------------------------------\n"
         "Product: PowerBox 3000\n"
         "Vendor: UpsMaker\n"
         "P/N: PN-200\n"
         "CTO: \n"
         "S/N: SN-200\n"
         "FW version: 2.0\n"
         "HW version: C\n"
         "============================================================\n"
         "\n";
}

}  // namespace emailservice::testing
