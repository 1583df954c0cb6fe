// The families beside sensors and logs, and the places of sensors, against what ipmitool and FreeIPMI print of them.

#include <algorithm>

#include "flow/reader_ipmi/ForeignComparison.h"

namespace Kelvar::Test {
namespace {

using Values = std::map<std::string, std::string>;

/// "Name : value" lines; of a name that comes twice the first.
Values ValuesOf(const std::string& text) {
  Values values;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) {
      continue;
    }
    const auto trimmed = [](const std::string& part) {
      const std::size_t first = part.find_first_not_of(" \t");
      return first == std::string::npos ? std::string() : part.substr(first, part.find_last_not_of(" \t") + 1 - first);
    };
    values.emplace(trimmed(line.substr(0, colon)), trimmed(line.substr(colon + 1)));
  }
  return values;
}

std::string Digits(std::string guid) {
  std::erase(guid, '-');
  return guid;
}

/// The digits of a GUID, last byte first.
std::string Reversed(const std::string& guid) {
  const std::string digits = Digits(guid);
  std::string reversed;
  for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
    reversed.insert(0, digits, at, 2);
  }
  return reversed;
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter; });
  return text;
}

class ForeignClients : public Comparison {
 protected:
  static const Model::Sensor* SensorOf(const std::string& number) {  // "8Bh"
    const std::string id = "20.0." + Lower(number.substr(0, 2));
    const auto found = std::find_if(inventory_.sensors.begin(), inventory_.sensors.end(),
                                    [&id](const Model::Sensor& sensor) { return sensor.id == id; });
    return found != inventory_.sensors.end() ? &*found : nullptr;
  }
};

TEST_F(ForeignClients, FullRecordsHaveTheirNumbersAndReadings) {
  const auto rows = Table(IpmiTool({"sdr", "elist", "full"}), '|');
  ASSERT_GT(rows.size(), 70U);
  for (const Words& row : rows) {
    ASSERT_EQ(row.size(), 5U);
    const Model::Sensor* sensor = SensorOf(row[1]);
    ASSERT_NE(sensor, nullptr) << row[0];
    EXPECT_EQ(sensor->name, row[0]);
    if (sensor->reading && sensor->states.empty()) {
      EXPECT_NEAR(std::stod(row[4]), *sensor->reading, 0.01) << row[0] << ": " << row[4];
    } else if (!sensor->reading) {
      EXPECT_TRUE(row[4] == "No Reading" || row[4] == "Disabled" || row[4].find(' ') == std::string::npos) << row[4];
    }
  }
}

TEST_F(ForeignClients, CompactRecordsHaveTheStatesOfTheirFirstSensor) {
  // Other words for the same offset.
  const Values theirs = {
      {"drive present", "drive presence"},
      {"s0/g0: working", "s0/g0 working"},
      {"presence detected, throttled", "processor presence detected, processor automatically throttled"}};
  std::size_t compared = 0;
  for (const Words& row : Table(IpmiTool({"sdr", "elist", "compact"}), '|')) {
    const Model::Sensor* sensor = row.size() == 5 ? SensorOf(row[1]) : nullptr;
    ASSERT_NE(sensor, nullptr) << row[0];
    EXPECT_EQ(sensor->name.compare(0, row[0].size(), row[0]), 0) << sensor->name;
    std::string ours;
    for (const std::string& state : sensor->states) {
      ours += (ours.empty() ? "" : ", ") + Lower(state);
    }
    if (row[4].empty()) {
      continue;  // a manufacturer's states: it prints none
    }
    std::string printed = Lower(row[4]);
    printed = theirs.count(printed) != 0 ? theirs.at(printed) : printed;
    const bool without = ours.empty() && printed == "no reading";
    EXPECT_TRUE(
        without || ours == printed ||
        (ours.size() > printed.size() && ours.compare(ours.size() - printed.size(), printed.size(), printed) == 0))
        << sensor->name << ": " << ours << " / " << printed;
    ++compared;
  }
  EXPECT_EQ(compared, 13U);
}

TEST_F(ForeignClients, EventOnlyRecordsAreNoSensors) {
  const auto rows = Table(IpmiTool({"sdr", "elist", "event"}), '|');
  EXPECT_EQ(rows.size(), 3U);
  for (const Words& row : rows) {
    EXPECT_EQ(SensorOf(row.at(1)), nullptr) << row[0];
  }
}

TEST_F(ForeignClients, TheControllerAndTheSystem) {
  const Model::System& system = inventory_.systems.at(0);
  EXPECT_EQ(ValuesOf(IpmiTool({"mc", "info"}))["Firmware Revision"], inventory_.firmware.at(0).version);
  Values chassis = ValuesOf(IpmiTool({"chassis", "status"}));
  EXPECT_EQ(chassis["System Power"], system.power_state);
  EXPECT_EQ(chassis["Main Power Fault"] + chassis["Drive Fault"] + chassis["Cooling/Fan Fault"], "falsefalsefalse");
  EXPECT_EQ(system.health, "");
  Values info = ValuesOf(FreeIpmi("bmc-info", {}));
  // Sent in the order of RFC 4122, where it has a usual version. FreeIPMI takes the order of the IPMI standard,
  // ipmitool that of SMBIOS.
  EXPECT_EQ(Reversed(info["System GUID"]), Digits(system.uuid));
  EXPECT_EQ(info["Firmware Revision"], inventory_.systems.at(1).firmware_version);
  EXPECT_EQ(info["System Firmware Version"], system.bios_version);
  EXPECT_EQ(info["System Name"], system.host_name);
}

TEST_F(ForeignClients, FruDevicesAgreeWithFreeIpmi) {
  const std::string text = FreeIpmi("ipmi-fru", {});
  std::size_t compared = 0;
  for (const Model::Component& component : inventory_.components) {
    const std::size_t start = text.find("FRU Inventory Device: " + component.name + " (ID ");
    if (start == std::string::npos) {
      continue;  // the parts of FRU device 0, which it names by none of them
    }
    const std::size_t end = text.find("FRU Inventory Device: ", start + 1);
    Values values = ValuesOf(text.substr(text.find('\n', start), end == std::string::npos ? end : end - start));
    const auto expect = [&](const std::string& board, const std::string& product, const std::string& ours) {
      const std::string printed = values.count(product) != 0 ? values[product] : values[board];
      if (!ours.empty() && printed.rfind("Error", 0) != 0 && static_cast<unsigned char>(ours[0]) < 0x80) {
        EXPECT_EQ(printed, ours) << component.name;
        ++compared;
      }
    };
    if (component.name == "Backplane FRU" || component.name == "Riser FRU") {
      continue;  // UTF-16, which it does not read; a wrong checksum, at which it stops
    }
    expect("FRU Board Manufacturer", "FRU Product Manufacturer Name", component.manufacturer);
    expect("FRU Board Product Name", "FRU Product Name", component.model);
    expect("FRU Board Serial Number", "FRU Product Serial Number", component.serial_number);
    expect("FRU Board Part Number", "FRU Product Part/Model Number", component.part_number);
    if (component.power_capacity_watts) {
      EXPECT_EQ(std::stod(values["FRU Power Supply Overall Capacity"]), *component.power_capacity_watts);
    }
  }
  EXPECT_EQ(compared, 14U);
}

TEST_F(ForeignClients, TheNetworkAgreesWithFreeIpmi) {
  const std::string text = FreeIpmi("ipmi-config", {"--category=core", "--checkout", "-S", "Lan_Conf"});
  Values values;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string name;
    words >> name >> values[name];
  }
  const Model::NetworkInterface& lan = inventory_.network_interfaces.at(0);
  EXPECT_EQ(Lower(values["IP_Address_Source"]), lan.addresses.at(0).origin);
  EXPECT_EQ(values["IP_Address"], lan.addresses.at(0).address);
  EXPECT_EQ(Lower(values["MAC_Address"]), lan.mac_address);
  EXPECT_EQ(values["Default_Gateway_IP_Address"], lan.addresses.at(0).gateway);
}

TEST_F(ForeignClients, CipherSuitesAgreeWithIpmitool) {
  std::vector<std::string> standard;
  for (const Words& row : Table(IpmiTool({"channel", "getciphers", "ipmi", "1"}), ' ')) {
    if (!row.empty() && !row[0].empty() && row[0].find_first_not_of("0123456789") == std::string::npos &&
        row[0] != "128") {
      standard.push_back(row[0]);
    }
  }
  // It leaves out a manufacturer's own suite that goes past a piece.
  std::vector<std::string> ours = inventory_.network_services.at(0).cipher_suites;
  EXPECT_EQ(ours.back(), "128 of manufacturer 65100");
  ours.pop_back();
  EXPECT_EQ(ours, standard);
}

}  // namespace
}  // namespace Kelvar::Test
