#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "common/diagnostics/ConnectionLimits.h"
#include "common/json/FieldTable.h"
#include "common/log/LogMacros.h"
#include "common/text/NumberText.h"
#include "module/nfw/inventory/redfish/Frame.h"
#include "module/nfw/inventory/redfish/RedfishSensorUnits.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using KelvarNfw::NUMERICSENSORS;

namespace {

constexpr const char* kStandard = "/redfish/v1/Chassis/1/Sensors";
constexpr const char* kOem = "/redfish/v1/Chassis/1/Oem/Tavrik/Sensors";
constexpr const char* kStandardSensors = "/redfish/v1/Chassis/1/Sensors?$expand=.($levels=1)";
constexpr const char* kOemSensors = "/redfish/v1/Chassis/1/Oem/Tavrik/Sensors?$expand=.($levels=1)";

struct Threshold {
  const char* key;
  float NUMERICSENSORS::*member;
};

constexpr std::array<Threshold, 6> kStandardThresholds = {{
    {"LowerFatal", &NUMERICSENSORS::LowerThresholdFatal},
    {"LowerCritical", &NUMERICSENSORS::LowerThresholdCritical},
    {"LowerCaution", &NUMERICSENSORS::LowerThresholdNonCritical},
    {"UpperCritical", &NUMERICSENSORS::UpperThresholdCritical},
    {"UpperFatal", &NUMERICSENSORS::UpperThresholdFatal},
    {"UpperCaution", &NUMERICSENSORS::UpperThresholdNonCritical},
}};

constexpr std::array<Threshold, 3> kOemThresholds = {{
    {"ThresholdLowerCritical", &NUMERICSENSORS::LowerThresholdCritical},
    {"ThresholdLowerFatal", &NUMERICSENSORS::LowerThresholdFatal},
    {"ThresholdLowerNonCritical", &NUMERICSENSORS::LowerThresholdNonCritical},
}};

constexpr std::array<DocumentField<NUMERICSENSORS>, 4> kStandardFields = {{
    {"Name", &NUMERICSENSORS::ElementName},
    {"ReadingUnits", &NUMERICSENSORS::BaseUnits, kUnknown},
    {"Id", &NUMERICSENSORS::DeviceID},
    {"PhysicalContext", &NUMERICSENSORS::Description},
}};

constexpr std::array<DocumentField<NUMERICSENSORS>, 2> kStatusFields = {{
    {"State", &NUMERICSENSORS::CurrentState},
    {"Health", &NUMERICSENSORS::HealthState, nullptr, "null"},
}};

struct HealthBit {
  int mask;
  const char* word;
};

/// The first that is set decides.
constexpr std::array<HealthBit, 6> kHealthBits = {{
    {0x20, "Completely Failure"},
    {0x04, "Abnormal"},
    {0x10, "Critical Failure"},
    {0x02, "Major Failure"},
    {0x08, "Minor Failure"},
    {0x01, "Abnormal"},
}};

const char* HealthWord(int state) {
  const auto bit = std::find_if(kHealthBits.begin(), kHealthBits.end(),
                                [state](const HealthBit& one) { return (state & one.mask) != 0; });
  return bit == kHealthBits.end() ? "Healthy" : bit->word;
}

const char* AssertionWord(const std::string& assertion) {
  return assertion == "Deassert" ? "Normal" : assertion == "Assert" ? "Abnormal" : kUnknown;
}

const char* UnitWord(const std::string& code) {
  const int index = Text::ParseClampedInt(code);
  const bool known = index >= 0 && static_cast<std::size_t>(index) < kRedfishSensorUnits.size();
  return known ? kRedfishSensorUnits[static_cast<std::size_t>(index)] : kUnknown;
}

void NoteMissing(const char* property) {
  KELVAR_LOG(4) << "No " << property << " property";
}

bool IsLink(const JsonValue& member) {
  return member[kLink] && member.MemberCount() == 1;
}

/// The members of a sensor collection; none when it has none to offer.
std::vector<JsonValue> Members(const std::optional<JsonDocument>& document) {
  if (!document) {
    ResourceInReading::AddGap(GapKind::Unusable, FailureCause::BadData, "no JSON");
    return {};
  }
  NoteNextPage(static_cast<bool>(document->Root()[kNextLink]));
  const JsonValue members = document->Root()["Members"];
  if (!members.IsArray()) {
    ResourceInReading::AddGap(GapKind::Unusable, FailureCause::BadData, "no Members");
  }
  std::vector<JsonValue> elements = members.Elements();
  NoteLinks(static_cast<std::size_t>(
      std::count_if(elements.begin(), elements.end(), [](const JsonValue& element) { return IsLink(element); })));
  return elements;
}

/// Sorts pointers first: a record is costly to move.
void SortByName(std::vector<NUMERICSENSORS>& list) {
  std::vector<NUMERICSENSORS*> order;
  order.reserve(list.size());
  for (NUMERICSENSORS& sensor : list) {
    order.push_back(&sensor);
  }
  std::sort(order.begin(), order.end(), [](const NUMERICSENSORS* one, const NUMERICSENSORS* other) {
    return one->ElementName < other->ElementName;
  });
  std::vector<NUMERICSENSORS> sorted;
  sorted.reserve(list.size());
  for (NUMERICSENSORS* sensor : order) {
    sorted.push_back(std::move(*sensor));
  }
  list.swap(sorted);
}

NUMERICSENSORS ReadStandardSensor(const JsonValue& sensor, const JsonValue& thresholds) {
  NUMERICSENSORS record;
  LoadFields(sensor, kStandardFields, record);
  record.CurrentReading = sensor["Reading"].Number().value_or(0.0F);
  if (const auto type = sensor["ReadingType"].String()) {
    record.Description += ":" + *type;
  }
  LoadFields(sensor["Status"], kStatusFields, record);
  for (const Threshold& threshold : kStandardThresholds) {
    record.*threshold.member = thresholds[threshold.key]["Reading"].Number().value_or(0.0F);
  }
  return record;
}

std::optional<float> ScaledReading(const JsonValue& sensor) {
  const auto reading = sensor["Reading"].Int();
  if (!reading) {
    return std::nullopt;
  }
  const double magnitude = std::abs(static_cast<double>(sensor["UnitModifier"].Int().value_or(0)));
  return static_cast<float>(*reading / std::pow(10.0, magnitude));
}

std::optional<std::string> OemDeviceId(const JsonValue& sensor) {
  std::string id;
  for (const char* key : {"RecordType", "SensorNumber", "OwnerLUN", "OwnerID", "ReadingType"}) {
    const auto number = sensor[key].Int();
    if (!number) {
      return std::nullopt;
    }
    id += (id.empty() ? "" : ".") + std::to_string(*number);
  }
  KELVAR_LOG(4) << "zmcNumSensor.DeviceID" << id;
  return id;
}

std::optional<std::string> OemCaption(const JsonValue& sensor) {
  const auto type = sensor["SensorType"].String();
  const auto name = sensor["Name"].String();
  const auto entity = sensor["EntityID"].Int();
  if (!type || !name || !entity) {
    return std::nullopt;
  }
  const std::string caption = *type + ":" + *name + " " + std::to_string(*entity);
  KELVAR_LOG(4) << "EntityID=" << *entity;
  KELVAR_LOG(4) << "zmcNumSensor.Description=" << caption;
  return caption;
}

/// Puts the value in its place, or notes that the property is missing.
template <typename Value, typename Target>
void Put(const std::optional<Value>& value, Target& target, const char* property) {
  if (value) {
    target = *value;
  } else {
    NoteMissing(property);
  }
}

template <typename Value>
std::optional<const char*> ToWord(const std::optional<Value>& value, const char* (*word)(const Value&)) {
  return value ? std::optional<const char*>(word(*value)) : std::nullopt;
}

NUMERICSENSORS ReadOemSensor(const JsonValue& sensor, u16 zmcIndex) {
  NUMERICSENSORS record;
  record.ZMCIndex = zmcIndex;
  Put(ToWord<std::string>(sensor["BaseUnit"].String(), &UnitWord), record.BaseUnits, "BaseUnit");
  Put(ScaledReading(sensor), record.CurrentReading, "Reading");
  Put(OemDeviceId(sensor), record.DeviceID, "DeviceID");
  Put(OemCaption(sensor), record.Caption, "Caption,Description");
  record.Description = record.Caption;
  for (const Threshold& threshold : kOemThresholds) {
    Put(sensor[threshold.key].Real(), record.*threshold.member, threshold.key);
  }
  Put(ToWord<std::string>(sensor["Assertion"].String(), &AssertionWord), record.CurrentState, "Assertion");
  Put(sensor["Name"].String(), record.ElementName, "Name");
  if (const auto state = sensor["State"].Int()) {
    record.HealthState = HealthWord(*state);
  } else {
    NoteMissing("State");
  }
  return record;
}

}  // namespace

Code NodeFirmwareInventoryImpRedfish::GetZMCNumericSensors(std::vector<NUMERICSENSORS>& list) {
  return RunRedfishOperation(Frame(), "GetZMCNumericSensors", [&](Code& code) {
    list.clear();
    if (auto standard = Service().FetchOrLogAlone(kStandardSensors, code)) {
      const ResourceInReading resource(kStandard);
      code = ParseStdSensor(list, std::move(*standard));
    } else if (auto oem = Service().FetchOrLog(kOemSensors, code)) {
      const ResourceInReading resource(kOem);
      code = ParseOEMSensor(list, std::move(*oem));
    }
  });
}

Code NodeFirmwareInventoryImpRedfish::ParseStdSensor(std::vector<NUMERICSENSORS>& list, Rest::RestResponse&& response) {
  const auto document = JsonDocument::Read(std::move(response.body));
  const std::vector<JsonValue> members = Members(document);
  if (members.empty()) {
    return NodeFirmwareInventory::INVENTORY_REST_FAILED;
  }
  KELVAR_LOG(4) << "sensor size: " << members.size();
  list.reserve(RecordLimit(members.size()));
  for (const JsonValue& sensor : members) {
    const JsonValue thresholds = sensor["Thresholds"];
    if (!thresholds) {
      KELVAR_LOG(4) << "skip a sensor as it doesn't have Thresholds";
      continue;
    }
    CheckRecordLimit(list);
    list.push_back(ReadStandardSensor(sensor, thresholds));
    KELVAR_LOG(4) << "push sensor " << list.back().ElementName << "to results";
  }
  SortByName(list);
  return NodeFirmwareInventory::INVENTORY_SUCCESS;
}

Code NodeFirmwareInventoryImpRedfish::ParseOEMSensor(std::vector<NUMERICSENSORS>& list, Rest::RestResponse&& response) {
  const auto document = JsonDocument::Read(std::move(response.body));
  const std::vector<JsonValue> members = Members(document);
  if (members.empty()) {
    return NodeFirmwareInventory::INVENTORY_REST_FAILED;
  }
  for (const JsonValue& sensor : members) {
    if (sensor["ThresholdLowerCritical"]) {
      CheckRecordLimit(list);
      list.push_back(ReadOemSensor(sensor, info.ZMCIndex));
    }
  }
  return NodeFirmwareInventory::INVENTORY_SUCCESS;
}

}  // namespace Kelvar
