#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

using Model::Health;
using Model::Sensor;

constexpr std::string_view kFormerGroups = "Redundancy";
constexpr std::array<std::string_view, 8> kGroups = {
    kFormerGroups,      "PowerSupplyRedundancy",      "MainsRedundancy",   "FanRedundancy", "PumpRedundancy",
    "FilterRedundancy", "CoolantConnectorRedundancy", "LeakDetectorGroups"};

/// Id, in lower case, of the list that has replaced that of this resource; empty where there is none.
std::string NewerGroups(std::string_view id) {
  const std::string chassis = Lower(Above(id));
  const std::string last = Lower(LastSegment(id));
  return last == "thermal" ? chassis + "/thermalsubsystem#/fanredundancy"
         : last == "power" ? chassis + "/powersubsystem#/powersupplyredundancy"
                           : std::string();
}

Health HealthOfWord(const std::string& word) {
  return word == "critical" ? Health::Critical : word == "warning" ? Health::Warning : Health::Unknown;
}

template <typename Record>
Health WorstOf(const std::vector<Record>& records) {
  Health worst = Health::Unknown;
  for (const Record& record : records) {
    worst = record.state == "absent" ? worst : std::max(worst, HealthOfWord(record.health));
  }
  return worst;
}

Health WorstOfAll(const Model::Inventory& inventory) {
  Health worst = std::max(WorstOf(inventory.systems), WorstOf(inventory.components));
  for (const Sensor& sensor : inventory.sensors) {
    worst = std::max(worst, Model::HealthOf(sensor));
  }
  return worst;
}

Health HealthOfAbsent(JsonValue resource) {
  const JsonValue status = resource["Status"];
  return WordAt(status, "State") == "absent" ? HealthOfWord(Lower(TextAt(status, "Health"))) : Health::Unknown;
}

/// What is deeper in the tree knows best what is wrong.
bool IsDeeper(const Collected::Summary& left, const Collected::Summary& right) {
  const auto depth = [](const std::string& id) { return std::count(id.begin(), id.end(), '/'); };
  return depth(left.id) != depth(right.id) ? depth(left.id) > depth(right.id) : NaturalLess(left.id, right.id);
}

}  // namespace

void TakeRedundancy(Collected& to, const Node& node, JsonValue json) {
  for (const std::string_view list : kGroups) {
    std::size_t index = 0;
    for (const JsonValue row : to.RowsOf(json[std::string(list).c_str()])) {
      Sensor group;
      group.id = node.id + "#/" + std::string(list) + '/' + std::to_string(index++);
      group.name = TextAt(row, "Name");
      group.name = group.name.empty() ? TextAt(row, "GroupName") : group.name;
      group.name = group.name.empty() ? std::string(list) : group.name;
      group.kind = "discrete";
      TakeStatus(group, row);
      if (HealthOfWord(group.health) == Health::Unknown) {
        continue;  // as the parts of the group
      }
      if (group.state == "disabled") {
        group.state.clear();  // it is the redundancy that is not there, not what watches it
      }
      to.readings.push_back({std::move(group), Collected::Source::Own, true});
    }
  }
}

void TakeIntrusion(Collected& to, const Node& node, JsonValue json) {
  const std::string state = WordAt(json, "PhysicalSecurity/IntrusionSensor");
  if (state != "hardware_intrusion" && state != "tampering_detected") {
    return;
  }
  Sensor sensor;
  sensor.id = node.id + "#/PhysicalSecurity/IntrusionSensor";
  sensor.name = TextAt(json, "Name") + " intrusion";
  sensor.kind = "discrete";
  sensor.states.push_back(state);
  to.readings.push_back({std::move(sensor), Collected::Source::Own, true});
}

void DropFormerRedundancy(Collected& from) {
  const auto isFormer = [](const std::string& id) { return id.find("#/Redundancy/") != std::string::npos; };
  std::set<std::string> newer;  // lists that are there
  for (const Collected::Reading& reading : from.readings) {
    newer.insert(Lower(Above(reading.record.id)));
  }
  const auto isDouble = [&](const Collected::Reading& reading) {
    const std::string& id = reading.record.id;
    return isFormer(id) && newer.count(NewerGroups(id.substr(0, id.find('#')))) != 0;
  };
  from.readings.erase(std::remove_if(from.readings.begin(), from.readings.end(), isDouble), from.readings.end());
}

void NoteAbsent(Collected& to, JsonValue json) {
  to.worstAbsent = std::max(to.worstAbsent, HealthOfAbsent(json));
  for (const char* const list : {"PowerSupplies", "Fans", "Temperatures", "Voltages", "Slots", "Devices"}) {
    for (const JsonValue row : FirstOf(json[list], Collected::kMostRows)) {
      to.worstAbsent = std::max(to.worstAbsent, HealthOfAbsent(row));
    }
  }
}

void NoteSummaries(Collected& to, const Node& node, JsonValue json) {
  const std::string name = TextAt(json, "Name");
  for (const std::string path : {"", "/Status", "/ProcessorSummary/Status", "/MemorySummary/Status"}) {
    const JsonValue status = path.empty() ? json : At(json, path.substr(1));
    for (const char* const property : {"Health", "HealthRollup", "HealthRollUp"}) {
      const std::string word = Lower(TextAt(status, property));
      if (HealthOfWord(word) != Health::Unknown && WordAt(status, "State") != "absent") {
        const std::string id = node.id + '#' + path + '/' + property;
        to.summaries.push_back({id, (name.empty() ? node.id : name) + ' ' + property, word});
      }
    }
  }
}

void FinishSummaries(Collected& from) {
  if (!from.Wants(Model::Family::Components) || !from.Wants(Model::Family::Sensors)) {
    return;
  }
  auto& sensors = from.inventory->sensors;
  std::sort(from.summaries.begin(), from.summaries.end(), IsDeeper);
  Health worst = std::max(WorstOfAll(*from.inventory), from.worstAbsent);
  for (Collected::Summary& summary : from.summaries) {
    const Health told = HealthOfWord(summary.health);
    const auto isSame = [&](const Sensor& sensor) { return sensor.id == summary.id; };  // a link has led there
    if (told <= worst || std::any_of(sensors.begin(), sensors.end(), isSame)) {
      continue;
    }
    worst = told;
    Sensor sensor;
    sensor.parent = from.PlaceAbove(summary.id);
    sensor.id = std::move(summary.id);
    sensor.name = std::move(summary.name);
    sensor.kind = "discrete";
    sensor.health = std::move(summary.health);
    sensors.push_back(std::move(sensor));
  }
  std::stable_sort(sensors.begin(), sensors.end(),
                   [](const Sensor& left, const Sensor& right) { return NaturalLess(left.id, right.id); });
}

}  // namespace Kelvar::Reader
