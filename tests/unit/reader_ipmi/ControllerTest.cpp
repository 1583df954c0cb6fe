// Device ID, GUID, chassis status, system info and LAN parameters, by the definitions of the IPMI 2.0 specification.

#include <gtest/gtest.h>

#include "module/reader/ipmi/CipherSuites.h"
#include "module/reader/ipmi/ControllerData.h"
#include "module/reader/ipmi/LanParameters.h"

namespace Kelvar::Reader::Ipmi {
namespace {

using Bytes = std::vector<u8>;

TEST(Device, IsReadWithAndWithoutItsAuxiliaryRevision) {
  Bytes data = {0x20, 0x81, 0x82, 0x45, 0x02, 0xBF, 0x4C, 0xFE, 0x10, 0x40, 0x01};
  auto device = ParseDeviceId(data);
  ASSERT_TRUE(device);
  EXPECT_TRUE(device->hasDeviceSdrs);
  EXPECT_TRUE(device->updating);
  EXPECT_EQ(device->firmware, "2.45");
  EXPECT_EQ(device->manufacturer, 0xFE4CU);  // 20 bits
  EXPECT_EQ(device->product, 0x140);
  EXPECT_TRUE(device->HasSdrRepository() && device->HasSel() && device->HasFru());
  EXPECT_FALSE(device->auxiliary);

  data.insert(data.end(), {1, 2, 3, 4});
  data[3] = 0x0F;  // no BCD
  device = ParseDeviceId(data);
  EXPECT_EQ(device->firmware, "2.15");
  EXPECT_EQ(device->auxiliary, (std::array<u8, 4>{1, 2, 3, 4}));
  EXPECT_FALSE(ParseDeviceId(std::span(data).first(10)));
}

TEST(Guid, IsFoundInAllThreeOrders) {
  const char* uuid = "6f1c4c5e-52a7-4d0b-9a3e-0c8f5b7d2e71";
  const Bytes rfc = {0x6F, 0x1C, 0x4C, 0x5E, 0x52, 0xA7, 0x4D, 0x0B, 0x9A, 0x3E, 0x0C, 0x8F, 0x5B, 0x7D, 0x2E, 0x71};
  EXPECT_EQ(GuidText(rfc), uuid);
  EXPECT_EQ(GuidText(Bytes(rfc.rbegin(), rfc.rend())), uuid);
  EXPECT_EQ(
      GuidText(Bytes{0x5E, 0x4C, 0x1C, 0x6F, 0xA7, 0x52, 0x0B, 0x4D, 0x9A, 0x3E, 0x0C, 0x8F, 0x5B, 0x7D, 0x2E, 0x71}),
      uuid);
  const Bytes odd = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  EXPECT_EQ(GuidText(odd), "100f0e0d-0c0b-0a09-0807-060504030201") << "none is valid: as the standard has it";
  const Bytes node = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0x5E, 0x30, 0, 1};
  EXPECT_EQ(GuidText(node), "00000000-0000-0000-0000-02005e300001") << "none is valid, but one is a node alone";
  EXPECT_EQ(GuidText(Bytes(node.rbegin(), node.rend())), "00000000-0000-0000-0000-02005e300001");
  EXPECT_EQ(GuidText(Bytes(16, 0)), "");
  EXPECT_EQ(GuidText(Bytes(16, 0xFF)), "");
  EXPECT_EQ(GuidText(Bytes(15, 1)), "");
}

TEST(Chassis, TellsPowerFaultsAndIdentifyLight) {
  auto status = ParseChassisStatus(Bytes{0x21, 0x00, 0x60});
  ASSERT_TRUE(status);
  EXPECT_TRUE(status->powerOn);
  EXPECT_FALSE(status->powerFault || status->fanFault || status->driveFault || status->intrusion);
  EXPECT_EQ(status->identify, 2);
  status = ParseChassisStatus(Bytes{0x08, 0x00, 0x0D, 0x00});
  EXPECT_FALSE(status->powerOn);
  EXPECT_TRUE(status->powerFault && status->fanFault && status->driveFault && status->intrusion);
  EXPECT_EQ(status->identify, std::nullopt);
  EXPECT_FALSE(ParseChassisStatus(Bytes{1, 0}));
}

TEST(Controller, SelfTestIsItsHealth) {
  using Model::Health;
  const struct {
    Bytes data;
    Health health;
    const char* text;
  } rows[] = {
      {{0x55, 0}, Health::Ok, ""},
      {{0x56, 0}, Health::Unknown, ""},
      {{0x57, 0x89},
       Health::Warning,
       "self test: controller firmware corrupted, sensor data repository empty, event log not accessible"},
      {{0x57}, Health::Warning, "self test: corrupted or inaccessible data or devices"},
      {{0x58, 0x10}, Health::Critical, "self test: fatal hardware error"},
      {{0x33, 0x10}, Health::Warning, "self test: device-specific failure"},
      {{0xFF, 0xFF}, Health::Unknown, ""},
      {{}, Health::Unknown, ""},
  };
  for (const auto& row : rows) {
    const SelfTest test = ParseSelfTest(row.data);
    EXPECT_EQ(test.health, row.health) << row.text;
    EXPECT_EQ(test.text, row.text);
  }
}

TEST(SystemInfo, IsPutTogetherFromBlocks) {
  SystemInfoText text;
  Bytes first = {1, 20};
  for (char letter = 'a'; letter < 'a' + 14; ++letter) {
    first.push_back(static_cast<u8>(letter));
  }
  EXPECT_TRUE(text.AddBlock(first));
  EXPECT_FALSE(text.IsComplete());
  EXPECT_TRUE(text.AddBlock(Bytes{'o', 'p', 'q', 'r', 's', 't', 'x', 'x', 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(text.IsComplete());
  EXPECT_EQ(text.Decode(), "abcdefghijklmnopqrst");

  SystemInfoText wide;
  EXPECT_TRUE(wide.AddBlock(Bytes{2, 4, 'h', 0, 'i', 0}));
  EXPECT_EQ(wide.Decode(), "hi");
  SystemInfoText empty;
  EXPECT_TRUE(empty.AddBlock(Bytes{0, 0}));
  EXPECT_TRUE(empty.IsComplete());
  SystemInfoText padded;
  EXPECT_TRUE(padded.AddBlock(Bytes{1, 64, 'h', 'i', 0, 0}));
  EXPECT_TRUE(padded.IsComplete());
  EXPECT_EQ(padded.Decode(), "hi");
  SystemInfoText cut;
  EXPECT_FALSE(cut.AddBlock(Bytes{0}));
}

TEST(Lan, CipherSuitesOfBothForms) {
  using Texts = std::vector<std::string>;
  EXPECT_EQ(ParseCipherSuites(Bytes{0xC0, 0, 0x00, 0x40, 0x80, 0xC0, 3, 0x01, 0x41, 0x81, 0xC0, 17, 0x03, 0x44, 0x81}),
            (Texts{"0", "3", "17"}));
  EXPECT_EQ(ParseCipherSuites(Bytes{0xC1, 0x80, 0x4C, 0xFE, 0, 0x01, 0x41, 0x81, 0xC0, 3, 0x01, 0x41, 0x42, 0x81}),
            (Texts{"128 of manufacturer 65100", "3"}));
  EXPECT_EQ(ParseCipherSuites(Bytes{0xC0, 3, 0xC0, 3, 0x01, 0xC1, 0x80, 0x4C}), (Texts{"3"})) << "twice, and cut";
  EXPECT_EQ(ParseCipherSuites(Bytes{}), Texts());
}

TEST(Lan, Ipv4AndHardware) {
  EXPECT_EQ(Ipv4Text(Bytes{192, 0, 2, 7}), "192.0.2.7");
  EXPECT_EQ(Ipv4Text(Bytes{0, 0, 0, 0}), "");
  EXPECT_EQ(Ipv4Text(Bytes{192, 0, 2}), "");
  EXPECT_EQ(PrefixLengthOf(Bytes{255, 255, 254, 0}), 23U);
  EXPECT_EQ(PrefixLengthOf(Bytes{255, 255, 255, 255}), 32U);
  EXPECT_EQ(PrefixLengthOf(Bytes{255, 0, 255, 0}), std::nullopt);
  EXPECT_EQ(PrefixLengthOf(Bytes{0, 0, 0, 0}), std::nullopt);
  EXPECT_STREQ(Ipv4Origin(1), "static");
  EXPECT_STREQ(Ipv4Origin(0xF2), "dhcp");
  EXPECT_STREQ(Ipv4Origin(9), "");
  EXPECT_EQ(MacText(Bytes{0, 0x1B, 0xC0, 1, 2, 0xFF}), "00:1b:c0:01:02:ff");
  EXPECT_EQ(MacText(Bytes(6, 0)), "");
  EXPECT_EQ(VlanOf(Bytes{0x0A, 0x80}), 10U);
  EXPECT_EQ(VlanOf(Bytes{0x0A, 0x00}), std::nullopt);
  EXPECT_EQ(VlanOf(Bytes{0x0A}), std::nullopt);
  EXPECT_EQ(VlanOf(Bytes{0x00, 0x80}), std::nullopt);
}

TEST(Lan, Ipv6AddressesThatAreInUse) {
  const Bytes global = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7};
  const auto set = [](u8 source, Bytes address, u8 prefix, u8 status) {
    address.insert(address.begin(), {0, source});
    address.insert(address.end(), {prefix, status});
    return address;
  };
  auto address = ParseIpv6Address(set(0x80, global, 64, 0), false);
  ASSERT_TRUE(address);
  EXPECT_EQ(address->address, "2001:db8::7");
  EXPECT_EQ(address->prefix_length, 64U);
  EXPECT_EQ(address->origin, "static");
  EXPECT_EQ(ParseIpv6Address(set(2, global, 0, 0), true)->origin, "dhcpv6");
  EXPECT_EQ(ParseIpv6Address(set(2, global, 0, 0), true)->prefix_length, std::nullopt);
  EXPECT_EQ(ParseIpv6Address(set(1, global, 64, 0), true)->origin, "slaac");
  Bytes local = global;
  local[0] = 0xFE;
  local[1] = 0x80;
  EXPECT_EQ(ParseIpv6Address(set(1, local, 64, 0), true)->origin, "link_local");
  EXPECT_FALSE(ParseIpv6Address(set(0x00, global, 64, 0), false)) << "disabled";
  EXPECT_FALSE(ParseIpv6Address(set(0x80, global, 64, 1), false)) << "not active";
  EXPECT_FALSE(ParseIpv6Address(set(0x80, Bytes(16, 0), 64, 0), false)) << "none";
  EXPECT_FALSE(ParseIpv6Address(global, true)) << "cut";
  EXPECT_EQ(ParseIpv6Status(Bytes{2, 5}).dynamic, 5);
  EXPECT_EQ(ParseIpv6Status(Bytes{2}).dynamic, 0);
}

}  // namespace
}  // namespace Kelvar::Reader::Ipmi
