#include <gtest/gtest.h>

#include "CardPaths.h"
#include "netinfo/netinfo.h"
#include "support/CardTest.h"
#include "utils/Helper.h"
#include "zorvan/Branding.h"
#include "zorvan/common/TemporaryFile.h"

namespace emailservice::testing {
namespace {

TEST(SplitTest, CutsAtEverySeparatorAndKeepsEmptyPieces) {
  struct Case {
    std::string text;
    std::string separator;
    std::vector<std::string> pieces;
  };
  std::vector<Case> const cases = {
      {"", ",", {}},
      {"", "", {}},
      {"a", ",", {"a"}},
      {"a,b,c", ",", {"a", "b", "c"}},
      {"a,,b", ",", {"a", "", "b"}},
      {"a,", ",", {"a", ""}},
      {",a", ",", {"", "a"}},
      {",", ",", {"", ""}},
      {" 1A , 2B", ",", {" 1A ", " 2B"}},
      {"a::b:c", "::", {"a", "b:c"}},
      {"a,b", "", {"a,b"}},
  };
  for (auto const& c : cases) {
    std::vector<std::string> pieces;
    utils::Helper::split(c.text, c.separator, pieces);
    EXPECT_EQ(pieces, c.pieces) << '"' << c.text << "\" by \"" << c.separator << '"';
  }
}

TEST(SplitTest, AppendsToWhatIsAlreadyThere) {
  std::vector<std::string> pieces{"kept"};
  utils::Helper::split("a,b", ",", pieces);
  EXPECT_EQ(pieces, (std::vector<std::string>{"kept", "a", "b"}));
}

using PlatformUtilitiesTest = CardTest;

TEST_F(PlatformUtilitiesTest, NetworkFactsComeFromTheCardWhenSet) {
  auto* network = card().state().mutable_network();
  network->set_fqdn("card.example.net");
  network->set_ipv4address("192.0.2.7");
  network->set_macaddress("00:11:22:33:44:55");
  EXPECT_EQ(netinfo::fqdn(), "card.example.net");
  EXPECT_EQ(netinfo::ipv4_address(), "192.0.2.7");
  EXPECT_EQ(netinfo::getSystemMacAddress(), "00:11:22:33:44:55");

  // Set to the empty text is still set: the card answers empty.
  network->set_ipv4address("");
  EXPECT_EQ(netinfo::ipv4_address(), "");
}

TEST_F(PlatformUtilitiesTest, UnsetNetworkFactsComeFromTheHost) {
  EXPECT_FALSE(netinfo::fqdn().empty());
  auto const address = netinfo::ipv4_address();
  auto const mac = netinfo::getSystemMacAddress();
  if (address.empty()) {
    EXPECT_EQ(mac, "") << "no interface, no MAC address";
  } else {
    EXPECT_NE(address, "127.0.0.1");
    EXPECT_EQ(std::count(address.begin(), address.end(), '.'), 3);
  }
  if (!mac.empty()) {
    EXPECT_EQ(mac.size(), 17U) << mac;
  }
}

TEST_F(PlatformUtilitiesTest, ProductNameComesFromTheCardOrTheDefault) {
  EXPECT_EQ(zorvan::Branding::getProductName(), "Network Management Card");
  card().state().set_productname("Branded Card");
  EXPECT_EQ(zorvan::Branding::getProductName(), "Branded Card");
  card().state().set_productname("");
  EXPECT_EQ(zorvan::Branding::getProductName(), "");
}

TEST_F(PlatformUtilitiesTest, TemporaryFileRemovesItsFileAtTheEnd) {
  std::string const path = std::string(paths::kWorkDirectory) + "guarded.csv";
  {
    zorvan::common::TemporaryFile guard(path, false);
    EXPECT_EQ(guard.path(), path);
    EXPECT_FALSE(fileExists(path)) << "the flag false does not create it";
    writeFile(path, "written by the exporter");
  }
  EXPECT_FALSE(fileExists(path));

  writeFile(path, "old content");
  {
    zorvan::common::TemporaryFile guard(path, true);
    EXPECT_TRUE(fileExists(path));
    EXPECT_EQ(readFile(path), "") << "the flag true creates it empty";
  }
  EXPECT_FALSE(fileExists(path));

  { zorvan::common::TemporaryFile guard(path, false); }  // nothing to remove: no failure
  EXPECT_FALSE(fileExists(path));
}

}  // namespace
}  // namespace emailservice::testing
