// Each machine of tests/data/machines, served by the simulator and read over Redfish, gives what its file expects.

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelvar/InventoryReader.h>

#include <fmt/format.h>

#include "simulator/machine/JsonFile.h"
#include "simulator/redfish/RedfishServer.h"
#include "support/Loopback.h"
#include "support/TestPlaces.h"
#include "tools/kelvar/inventory/Fields.h"

namespace Kelvar::Test {
namespace {

/// A record's members that are not absent, as texts; the elements of a list follow each other with "|" after each.
using Record = std::map<std::string, std::string>;
using Counts = std::map<std::string, std::size_t>;

std::string Print(const std::string& text) {
  return text;
}
std::string Print(bool flag) {
  return flag ? "true" : "false";
}
template <typename Number>
std::enable_if_t<std::is_arithmetic_v<Number>, std::string> Print(Number number) {
  return fmt::format("{:.12g}", static_cast<double>(number));
}
template <typename Value>
std::string Print(const std::optional<Value>& value) {
  return value ? Print(*value) : std::string();
}
std::string Print(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += text + '|';
  }
  return joined;
}
std::string Print(const std::vector<Model::NetworkAddress>& addresses) {
  std::string joined;
  for (const Model::NetworkAddress& address : addresses) {
    joined += address.address + '|';
  }
  return joined;
}

std::string Print(const rapidjson::Value& value) {
  if (value.IsArray()) {
    std::string joined;
    for (const auto& element : value.GetArray()) {
      joined += Print(element) + '|';
    }
    return joined;
  }
  return value.IsString() ? value.GetString() : value.IsBool() ? Print(value.GetBool()) : Print(value.GetDouble());
}

template <typename Element>
std::vector<Record> Records(const std::vector<Element>& elements) {
  std::vector<Record> records;
  for (const Element& element : elements) {
    Record& record = records.emplace_back();
    Tool::VisitFields(element, [&record](const char* name, const auto& value) {
      if (std::string text = Print(value); !text.empty()) {
        record[name] = std::move(text);
      }
    });
  }
  return records;
}

std::map<std::string, std::vector<Record>> AllRecords(const Model::Inventory& inventory) {
  return {{"systems", Records(inventory.systems)},
          {"firmware", Records(inventory.firmware)},
          {"components", Records(inventory.components)},
          {"sensors", Records(inventory.sensors)},
          {"leds", Records(inventory.leds)},
          {"log_entries", Records(inventory.log_entries)},
          {"network_interfaces", Records(inventory.network_interfaces)},
          {"network_services", Records(inventory.network_services)}};
}

/// How many records have each value of `key`, of those that are there or that are not.
Counts Count(const std::vector<Record>& records, const std::string& key, bool isThere = true) {
  Counts counts;
  for (Record record : records) {
    counts[record[key]] += (record["state"] != "absent") == isThere ? 1U : 0U;
  }
  return counts;
}

Counts Expected(const rapidjson::Value& object) {
  Counts counts;
  for (const auto& [name, count] : object.GetObject()) {
    counts[name.GetString()] = count.GetUint();
  }
  return counts;
}

/// Looks at those values alone that the file names.
void ExpectCounts(const rapidjson::Value& inventory, const char* name, const Counts& found) {
  if (!inventory.HasMember(name)) {
    return;
  }
  for (const auto& [value, count] : Expected(inventory[name])) {
    const auto entry = found.find(value);
    EXPECT_EQ(entry == found.end() ? 0 : entry->second, count) << name << ": " << value;
  }
}

/// The lengths of the logs that have entries.
std::multiset<std::size_t> Lengths(const Counts& logs) {
  std::multiset<std::size_t> lengths;
  for (const auto& [log, count] : logs) {
    lengths.insert(count);
  }
  lengths.erase(0);
  return lengths;
}

bool Matches(Record record, const rapidjson::Value& expected) {
  return std::all_of(expected.MemberBegin(), expected.MemberEnd(),
                     [&record](const auto& member) { return record[member.name.GetString()] == Print(member.value); });
}

std::vector<std::string> MachineNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kExpectations)) {
    names.push_back(entry.path().stem().string());
  }
  return names;
}

class Machines : public testing::TestWithParam<std::string> {
 protected:
  Model::Inventory Read() {
    InventoryReader reader(LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, service_.Start(0)));
    return reader.Read();
  }

  const rapidjson::Document expected_ =
      Simulator::Json::ReadObject(std::string(kExpectations) + "/" + GetParam() + ".json");
  Simulator::RedfishServer service_{Simulator::LoadMachine(GetParam(), kMachineFolder)};
};

INSTANTIATE_TEST_SUITE_P(All, Machines, testing::ValuesIn(MachineNames()), [](const auto& param) {
  std::string name = param.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

TEST_P(Machines, GiveWhatAPersonWouldExpect) {
  const Model::Inventory read = Read();
  EXPECT_EQ(service_.OpenSessions(), 0U);
  const auto records = AllRecords(read);
  const auto& inventory = expected_["inventory"];
  ExpectCounts(inventory, "systems", Count(records.at("systems"), "kind"));
  ExpectCounts(inventory, "components", Count(records.at("components"), "kind"));
  ExpectCounts(inventory, "empty", Count(records.at("components"), "kind", false));
  ExpectCounts(inventory, "sensors", Count(records.at("sensors"), "kind"));
  ExpectCounts(inventory, "interfaces", Count(records.at("network_interfaces"), "owner"));
  EXPECT_EQ(Lengths(Count(records.at("log_entries"), "log")), Lengths(Expected(inventory["logs"])));
  EXPECT_EQ(read.firmware.size(), inventory["firmware"].GetUint());
  if (inventory.HasMember("with_reading")) {
    EXPECT_EQ(std::count_if(read.sensors.begin(), read.sensors.end(),
                            [](const Model::Sensor& sensor) { return sensor.reading.has_value(); }),
              inventory["with_reading"].GetInt());
  }
  if (inventory.HasMember("services")) {
    for (const auto& [name, enabled] : inventory["services"].GetObject()) {
      const std::string wanted = name.GetString();
      EXPECT_TRUE(std::any_of(read.network_services.begin(), read.network_services.end(),
                              [&wanted, on = enabled.GetBool()](const Model::NetworkService& service) {
                                return service.name == wanted && service.enabled == on;
                              }))
          << wanted;
    }
  }
  for (const auto& [family, wanted] : expected_["records"].GetObject()) {
    for (const auto& record : wanted.GetArray()) {
      const auto& found = records.at(family.GetString());
      EXPECT_TRUE(std::any_of(found.begin(), found.end(), [&](const Record& one) { return Matches(one, record); }))
          << family.GetString() << ": " << testing::PrintToString(Print(record.MemberBegin()->value)) << " ...";
    }
  }
}

TEST_P(Machines, GiveIdsThatAreTheirsAloneAndLeadSomewhere) {
  const auto records = AllRecords(Read());
  std::set<std::string> places;
  for (const auto& [family, found] : records) {
    std::set<std::string> ids;
    for (Record record : found) {
      EXPECT_TRUE(family == "network_services" || ids.insert(record["id"]).second) << family << ": " << record["id"];
    }
    if (family == "systems" || family == "components") {
      places.insert(ids.begin(), ids.end());
    }
  }
  for (const auto& [family, found] : records) {
    for (Record record : found) {
      for (const char* key : {"parent", "component"}) {
        const std::string& place = record[key];
        EXPECT_TRUE(place.empty() || places.count(place) > 0) << family << ", " << record["id"] << ": " << place;
        EXPECT_TRUE(family != "components" || place != record["id"]) << place;
      }
    }
  }
}

/// A machine whose service does not do all that it announces, or does it only now and then.
struct Trouble {
  const char* machine;
  std::vector<std::string> faults;
  Simulator::SessionLimits sessions;
};

std::map<std::string, std::vector<Record>> ReadWith(const Trouble& trouble) {
  Simulator::Machine machine = Simulator::LoadMachine(trouble.machine, kMachineFolder);
  machine.faults = trouble.faults;
  machine.sessions = trouble.sessions;
  Simulator::RedfishServer service(machine);
  InventoryReader reader(LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, service.Start(0)));
  auto records = AllRecords(reader.Read());
  EXPECT_EQ(service.OpenSessions(), 0U);
  return records;
}

class MachinesInTrouble : public testing::TestWithParam<Trouble> {};

INSTANTIATE_TEST_SUITE_P(
    Redfish, MachinesInTrouble,
    testing::Values(Trouble{"rack-gen5", {"redfish:/redfish/v1/* times=3 status=503 header=Retry-After:0"}, {}},
                    Trouble{"rack-gen5", {"redfish:no-sessions"}, {}}, Trouble{"rack-gen5", {"redfish:impatient"}, {}},
                    Trouble{"rack-gen5", {"redfish:one-resets"}, {}}, Trouble{"rack-gen5", {}, {0, {}, {}}},
                    Trouble{"gpu-rack", {}, {{}, {}, 20}}, Trouble{"gpu-rack", {"redfish:no-expand"}, {}},
                    Trouble{"gpu-rack", {"redfish:expand-fails"}, {}}));

TEST_P(MachinesInTrouble, GiveAllTheSame) {
  EXPECT_TRUE(ReadWith(GetParam()) == ReadWith({GetParam().machine, {}, {}}));
}

TEST_P(Machines, GiveNoPlaceholders) {
  const std::set<std::string> placeholders{"To be filled by O.E.M.",
                                           "NA",
                                           "N/A",
                                           "Unknown",
                                           "null",
                                           "Default string",
                                           "....",
                                           ".....",
                                           "0000",
                                           "0123",
                                           "::",
                                           "0.0.0.0"};
  for (const auto& [family, found] : AllRecords(Read())) {
    for (const Record& record : found) {
      for (const auto& [key, text] : record) {
        const bool isBlank = text.find_first_not_of(' ') == std::string::npos || text.back() == ' ';
        EXPECT_TRUE(placeholders.count(text) == 0 && !isBlank) << family << ", " << key << ": '" << text << "'";
      }
    }
  }
}

}  // namespace
}  // namespace Kelvar::Test
