#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/Inventory.h>

#include "module/reader/redfish/Values.h"
#include "module/reader/redfish/Walk.h"

namespace Kelvar::Reader {

/// What the resources of a service have given so far, in the order in which they came. Once the walk is over, the
/// functions at the end of this header make the inventory of it: without doubles, with parents, in a fixed order.
struct Collected {
  enum class Shape : u8 {
    Resource,
    Row,  ///< of Thermal, Power, StorageControllers or SimpleStorage, which a resource may show, too
    Assembly,
  };
  struct Part {
    Model::Component record;
    Shape shape = Shape::Resource;
  };
  enum class Source : u8 { Own, Excerpt, Legacy };
  struct Reading {
    Model::Sensor record;
    Source source = Source::Own;
    bool isNamed = true;   ///< the name is the sensor's own, or that of its device
    std::string holder{};  ///< of an excerpt: id of the resource that has it
  };
  struct Entry {
    Model::LogEntry record;
    std::size_t position = 0;
    std::string localTime;  ///< when it was made, as told, where that lacks a zone
  };
  /// Health that a resource has in sum with all that belongs to it, where it is not ok.
  struct Summary {
    std::string id;
    std::string name;
    std::string health;
  };
  /// What the ports and functions of a network adapter tell about it.
  struct Ports {
    std::string macAddress;
    std::string macId;  ///< of the port that it is from
    std::optional<double> speedMbps;
  };

  /// Records of one reading, and rows of one list.
  static constexpr std::size_t kMostRecords = 100'000;
  static constexpr std::size_t kMostRows = 5'000;

  FamilyMask wanted = 0;
  bool cut = false;                       ///< a list was, for it had more than any machine has
  Model::Inventory* inventory = nullptr;  ///< systems, firmware, LEDs and network go there at once
  std::vector<Part> parts;
  std::vector<Reading> readings;
  std::vector<Summary> summaries;
  Model::Health worstAbsent = Model::Health::Unknown;  ///< told of what is not there, which some services sum up, too
  std::vector<Entry> entries;
  std::map<std::string, Ports> ports;                      ///< by the adapter's id in lower case
  std::map<std::string, std::string> places;               ///< what may hold something: id in lower case -> id
  std::map<std::string, std::string> containedBy;          ///< chassis: id in lower case -> id of the one around it
  std::map<std::string, std::string> enclosures;           ///< of storages: id in lower case -> id of its chassis
  std::map<std::string, std::set<std::string>> systemsOf;  ///< chassis: ids of the systems in it, all in lower case
  std::map<std::string, std::string> joined;  ///< parts told twice: id of the one left out -> id of the other, if any
  std::set<std::string> storages;             ///< ids in lower case
  std::map<std::string, std::string> slotLabels;  ///< by the id of the device in the slot, in lower case
  std::map<std::string, bool> images;             ///< of managers, by id in lower case: whether it runs
  std::map<std::string, std::set<u32>> vlans;     ///< those enabled, by the id of their interface in lower case
  std::map<std::string, std::string> hostNames;   ///< of managers, by their id in lower case
  std::map<std::string, std::string> zones;       ///< of the times of logs and managers, by id in lower case

  /// The rows of a list within a resource.
  std::vector<JsonValue> RowsOf(JsonValue list);
  /// Of all kinds together.
  std::size_t Count() const;
  bool Wants(Model::Family family) const { return (wanted & MaskOf(family)) != 0; }
  /// The id of the nearest place that holds this id; empty without one. Of a part that is left out it is the other one.
  std::string PlaceAbove(std::string_view id) const;
  /// An id as the resource spells it itself, of a link as another one spells it. Of a part that is left out it is the
  /// other one.
  std::string SpellingOf(const std::string& id) const;
};

/// The id that a link leads to; empty for none.
std::string LinkedId(JsonValue object, std::string_view path);

// What resources give; one function for a kind of resource, in the file of its family.

void TakeSystem(Collected& to, const Node& node, JsonValue json);
/// The firmware that a manager can run.
void NoteImages(Collected& to, JsonValue manager);
void TakeFirmware(Collected& to, const Node& node, JsonValue json);
void TakePart(Collected& to, const Node& node, JsonValue json);
void TakeStorage(Collected& to, const Node& node, JsonValue json);
void TakeSimpleStorage(Collected& to, const Node& node, JsonValue json);
/// What a chassis is made of, as far as it is identified.
void TakeAssembly(Collected& to, const Node& node, JsonValue json);
/// Where the devices are, which seldom tell it themselves.
void TakePcieSlots(Collected& to, const Node& node, JsonValue json);
void TakePort(Collected& to, const Node& node, JsonValue json);
void TakePowerSupplyRows(Collected& to, const Node& node, JsonValue json);
void TakeFanRows(Collected& to, const Node& node, JsonValue json);
void TakeSensor(Collected& to, const Node& node, JsonValue json);
void TakeLeakDetector(Collected& to, const Node& node, JsonValue json);
/// Returns where the detectors are that are shown in full elsewhere.
std::vector<std::string> TakeLeakDetectorGroups(Collected& to, const Node& node, JsonValue json);
void TakeThermalReadings(Collected& to, const Node& node, JsonValue json);
void TakePowerReadings(Collected& to, const Node& node, JsonValue json);
/// Groups of parts that replace each other, or that watch the same: discrete sensors where they are not ok.
void TakeRedundancy(Collected& to, const Node& node, JsonValue json);
/// That somebody has opened a chassis, where it tells so.
void TakeIntrusion(Collected& to, const Node& node, JsonValue json);
void NoteSummaries(Collected& to, const Node& node, JsonValue json);
void NoteAbsent(Collected& to, JsonValue json);
/// Excerpts of sensors. Returns where those are that are shown in full elsewhere.
std::vector<std::string> TakeExcerpts(Collected& to, const Node& node, JsonValue json);
/// What a LED is on. Without a parent it belongs to the nearest place above its id.
struct LedPlace {
  std::string id;
  std::string name;
  std::string parent;
};
void TakeLed(Collected& to, const LedPlace& place, JsonValue json);
/// The zone of a log or manager.
void TakeZone(Collected& to, const Node& node, JsonValue json);
void TakeLogEntry(Collected& to, const Node& node, JsonValue json);
void TakeEthernet(Collected& to, const Node& node, JsonValue json);
/// One of the several VLANs that an interface may have.
void TakeVlan(Collected& to, const Node& node, JsonValue json);
void TakeNetworkProtocol(Collected& to, const Node& node, JsonValue json);

/// A value of a record that lacks it, from another record of the same thing.
template <typename Value>
void FillOne(Value& into, const Value& from) {
  if (into == Value()) {
    into = from;
  }
}

void FinishSystems(Collected& from);
void FinishFirmware(Collected& from);
void FinishComponents(Collected& from);
/// Leaves out the groups of Thermal and Power that the newer subsystems have, too.
void DropFormerRedundancy(Collected& from);
void FinishSensors(Collected& from);
/// Makes a sensor of a summary that is worse than all records: something that is not read is not ok.
void FinishSummaries(Collected& from);
void FinishLeds(Collected& from);
void FinishNetwork(Collected& from);
void FinishLogs(Collected& from, const InventoryReaderOptions& options);

}  // namespace Kelvar::Reader
