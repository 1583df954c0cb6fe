// A machine that is served over Redfish and over IPMI reads the same over both, in what both tell.

#include <algorithm>
#include <set>

#include <gtest/gtest.h>
#include <kelvar/InventoryReader.h>

#include "support/BmcSim.h"
#include "support/Loopback.h"

namespace Kelvar::Test {
namespace {

using Model::Inventory;

class Agreement : public testing::TestWithParam<const char*> {
 protected:
  Inventory Read(u32 connectionCase, const char* protocol) const {
    KelvarConnection::ConnectionInfo info = LoopbackInfo(connectionCase, sim_.Port(protocol));
    info.RemoteSessionArgument = 3;
    return InventoryReader(info).Read();
  }

  const BmcSim sim_{GetParam(), {"--serve", "redfish,ipmi"}};
  const Inventory redfish_ = Read(KelvarConnection::CONNECTION_CASE_REDFISH, "redfish");
  const Inventory ipmi_ = Read(KelvarConnection::CONNECTION_CASE_IPMI_LAN, "ipmi");
};

INSTANTIATE_TEST_SUITE_P(Machines, Agreement, testing::Values("rack-gen5", "legacy-thermal"), [](const auto& param) {
  std::string name = param.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

template <typename Records>
const auto* Find(const Records& records, const std::string& name) {
  const auto found = std::find_if(records.begin(), records.end(), [&](const auto& one) { return one.name == name; });
  return found == records.end() ? nullptr : &*found;
}

const Model::System& SystemOf(const Inventory& inventory) {
  static const Model::System kNone;
  const auto found = std::find_if(inventory.systems.begin(), inventory.systems.end(),
                                  [](const Model::System& system) { return system.kind == "system"; });
  return found == inventory.systems.end() ? kNone : *found;
}

std::set<std::string> SerialNumbers(const Inventory& inventory, const char* kind) {
  std::set<std::string> serials;
  for (const Model::Component& component : inventory.components) {
    if (component.kind == kind && !component.serial_number.empty()) {
      serials.insert(component.serial_number);
    }
  }
  return serials;
}

/// What both have is the same.
void ExpectNear(const std::optional<double>& one, const std::optional<double>& other, const std::string& what) {
  if (one && other) {
    EXPECT_NEAR(*one, *other, 1e-9) << what;
  }
}

TEST_P(Agreement, OfTheSystem) {
  const Model::System& redfish = SystemOf(redfish_);
  const Model::System& ipmi = SystemOf(ipmi_);
  EXPECT_EQ(redfish.manufacturer, ipmi.manufacturer);
  EXPECT_EQ(redfish.model, ipmi.model);
  EXPECT_EQ(redfish.serial_number, ipmi.serial_number);
  EXPECT_EQ(redfish.power_state, ipmi.power_state);
  EXPECT_EQ(redfish.host_name, ipmi.host_name);
}

TEST_P(Agreement, OfTheSensors) {
  std::size_t compared = 0;
  for (const Model::Sensor& ipmi : ipmi_.sensors) {
    const Model::Sensor* redfish = Find(redfish_.sensors, ipmi.name);
    if (redfish == nullptr) {
      continue;
    }
    ++compared;
    EXPECT_EQ(redfish->kind, ipmi.kind) << ipmi.name;
    EXPECT_EQ(redfish->unit, ipmi.unit) << ipmi.name;
    EXPECT_EQ(redfish->reading.has_value(), ipmi.reading.has_value()) << ipmi.name;
    ExpectNear(redfish->reading, ipmi.reading, ipmi.name);
    if (GetParam() == std::string("rack-gen5")) {
      ExpectNear(redfish->upper_critical, ipmi.upper_critical, ipmi.name);
      ExpectNear(redfish->upper_fatal, ipmi.upper_fatal, ipmi.name);
    }
  }
  EXPECT_GE(compared, 7U);
}

TEST_P(Agreement, OfThePowerSupplies) {
  if (const auto serials = SerialNumbers(ipmi_, "power_supply"); !serials.empty()) {
    EXPECT_EQ(SerialNumbers(redfish_, "power_supply"), serials);
  }
}

TEST_P(Agreement, OfTheNetwork) {
  ASSERT_FALSE(ipmi_.network_interfaces.empty());
  for (const Model::NetworkInterface& ipmi : ipmi_.network_interfaces) {
    const auto redfish =
        std::find_if(redfish_.network_interfaces.begin(), redfish_.network_interfaces.end(),
                     [&](const Model::NetworkInterface& one) { return one.mac_address == ipmi.mac_address; });
    ASSERT_NE(redfish, redfish_.network_interfaces.end()) << ipmi.mac_address;
    EXPECT_EQ(redfish->vlan, ipmi.vlan);
    ASSERT_FALSE(ipmi.addresses.empty() || redfish->addresses.empty());
    EXPECT_EQ(redfish->addresses.front().address, ipmi.addresses.front().address);
    EXPECT_EQ(redfish->addresses.front().prefix_length, ipmi.addresses.front().prefix_length);
    EXPECT_EQ(redfish->addresses.front().gateway, ipmi.addresses.front().gateway);
    EXPECT_EQ(redfish->addresses.front().origin, ipmi.addresses.front().origin);
  }
}

}  // namespace
}  // namespace Kelvar::Test
