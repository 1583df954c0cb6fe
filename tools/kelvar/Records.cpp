#include "tools/kelvar/Records.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>

#include "common/text/FixedText.h"

namespace Kelvar::Tool {

namespace {

template <std::size_t N>
Value ValueOf(const char (&text)[N]) {
  return std::string(Text::FixedView(text));
}
Value ValueOf(const std::string& text) {
  return text;
}
Value ValueOf(const std::vector<std::string>& texts) {
  return texts;
}
Value ValueOf(u32 number) {
  return u64{number};
}
Value ValueOf(float number) {
  return number;
}
Value ValueOf(bool flag) {
  return flag;
}

template <typename R>
struct Field {
  const char* name;
  Value (*read)(const R& record);
};

template <typename R, std::size_t N>
Record Read(const R& record, const Field<R> (&fields)[N]) {
  Record read;
  read.reserve(N);
  for (const Field<R>& field : fields) {
    read.emplace_back(field.name, field.read(record));
  }
  return read;
}

// A row of a field table: the field's name and how it is read.
#define KELVAR_TOOL_FIELD(name)                             \
  {                                                         \
#name, [](const R& from) { return ValueOf(from.name); } \
  }

struct ValueText {
  std::string operator()(const std::string& text) const { return text; }
  std::string operator()(u64 number) const { return fmt::format("{}", number); }
  std::string operator()(float number) const { return fmt::format("{:g}", number); }
  std::string operator()(bool flag) const { return flag ? "yes" : "no"; }
  std::string operator()(const std::vector<std::string>& texts) const {
    return fmt::format("{}", fmt::join(texts, ", "));
  }
};

/// Fields that say which record it is, and nothing of the machine.
constexpr std::string_view kCounters[] = {"ZMCIndex", "RecordIndex"};

/// What the library writes where the target gives nothing.
constexpr std::string_view kFillers[] = {"Unknown", "null"};

bool IsFact(const Value& value) {
  const auto* const text = std::get_if<std::string>(&value);
  const bool filler =
      text != nullptr && std::find(std::begin(kFillers), std::end(kFillers), *text) != std::end(kFillers);
  return !IsEmpty(value) && !filler && !std::holds_alternative<bool>(value);
}

/// The entries of all Redfish logs have the same fields.
template <class R>
Record RedfishLogRecord(const R& record) {
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(CreationTimeStamp),
                                         KELVAR_TOOL_FIELD(PerceivedSeverity),
                                         KELVAR_TOOL_FIELD(Message),
                                         KELVAR_TOOL_FIELD(EventSequenceNumber),
                                         KELVAR_TOOL_FIELD(EventID),
                                         KELVAR_TOOL_FIELD(MessageID),
                                         KELVAR_TOOL_FIELD(MessageArguments),
                                         KELVAR_TOOL_FIELD(Source),
                                         KELVAR_TOOL_FIELD(ElementName),
                                         KELVAR_TOOL_FIELD(AuxiliaryData),
                                         KELVAR_TOOL_FIELD(Hidden),
                                         KELVAR_TOOL_FIELD(RecordIndex)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarNfw::NODEFIRMWAREBUILDID& record) {
  using R = KelvarNfw::NODEFIRMWAREBUILDID;
  static constexpr Field<R> kFields[] = {
      KELVAR_TOOL_FIELD(BMCBuildID),          KELVAR_TOOL_FIELD(BMCBuildDate),
      KELVAR_TOOL_FIELD(BMCBackUpBuildID),    KELVAR_TOOL_FIELD(BMCBackUpBuildDate),
      KELVAR_TOOL_FIELD(uEFIBuildID),         KELVAR_TOOL_FIELD(uEFIBuildDate),
      KELVAR_TOOL_FIELD(uEFIBackUpBuildID),   KELVAR_TOOL_FIELD(uEFIBackUpBuildDate),
      KELVAR_TOOL_FIELD(QDGpBuildID),         KELVAR_TOOL_FIELD(QDGpBuildIDDate),
      KELVAR_TOOL_FIELD(BMCPVQBuildID),       KELVAR_TOOL_FIELD(BMCPVQBuildDate),
      KELVAR_TOOL_FIELD(BMCPVQBackUpBuildID), KELVAR_TOOL_FIELD(BMCPVQBackUpBuildDate),
      KELVAR_TOOL_FIELD(WRBpBuildID),         KELVAR_TOOL_FIELD(WRBpBuildIDDate),
      KELVAR_TOOL_FIELD(DRVLNpBuildID),       KELVAR_TOOL_FIELD(DRVLNpBuildIDDate),
      KELVAR_TOOL_FIELD(DRVWNpBuildID),       KELVAR_TOOL_FIELD(DRVWNpBuildIDDate),
      KELVAR_TOOL_FIELD(SorelBuildID),        KELVAR_TOOL_FIELD(SorelBuildIDDate)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarNfw::NODEFIRMWARESYSTEMVPD& record) {
  using R = KelvarNfw::NODEFIRMWARESYSTEMVPD;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(MachineType), KELVAR_TOOL_FIELD(SerialNumber),
                                         KELVAR_TOOL_FIELD(ModelName)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarNfw::ZMCDNSSETTINGDATA& record) {
  using R = KelvarNfw::ZMCDNSSETTINGDATA;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(ElementName), KELVAR_TOOL_FIELD(DNSServerAddresses),
                                         KELVAR_TOOL_FIELD(RequestedHostname), KELVAR_TOOL_FIELD(ZMCIndex)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarNfw::ZMCIPPROTOCOLENDPOINT& record) {
  using R = KelvarNfw::ZMCIPPROTOCOLENDPOINT;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(ElementName), KELVAR_TOOL_FIELD(IPAddress),
                                         KELVAR_TOOL_FIELD(AddressOrigin), KELVAR_TOOL_FIELD(ZMCIndex)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarNfw::ZMCSTATICIP& record) {
  using R = KelvarNfw::ZMCSTATICIP;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(ElementName),        KELVAR_TOOL_FIELD(AddressOrigin),
                                         KELVAR_TOOL_FIELD(IPv4Address),        KELVAR_TOOL_FIELD(IPv6Address),
                                         KELVAR_TOOL_FIELD(SubnetMask),         KELVAR_TOOL_FIELD(GatewayIPv4Address),
                                         KELVAR_TOOL_FIELD(GatewayIPv6Address), KELVAR_TOOL_FIELD(ZMCIndex)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarNfw::ZMCSNMPCOMMUNITYSTRING& record) {
  using R = KelvarNfw::ZMCSNMPCOMMUNITYSTRING;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(ElementName), KELVAR_TOOL_FIELD(ZMCIndex)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarNfw::INDICATORLEDS& record) {
  using R = KelvarNfw::INDICATORLEDS;
  static constexpr Field<R> kFields[] = {
      KELVAR_TOOL_FIELD(ElementName), KELVAR_TOOL_FIELD(ActivationState), KELVAR_TOOL_FIELD(DefaultActivationState),
      KELVAR_TOOL_FIELD(ControlMode), KELVAR_TOOL_FIELD(DeviceID),        KELVAR_TOOL_FIELD(OtherIdentifyingInfo),
      KELVAR_TOOL_FIELD(ZMCIndex)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarNfw::NUMERICSENSORS& record) {
  using R = KelvarNfw::NUMERICSENSORS;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(ElementName),
                                         KELVAR_TOOL_FIELD(CurrentReading),
                                         KELVAR_TOOL_FIELD(BaseUnits),
                                         KELVAR_TOOL_FIELD(CurrentState),
                                         KELVAR_TOOL_FIELD(HealthState),
                                         KELVAR_TOOL_FIELD(LowerThresholdNonCritical),
                                         KELVAR_TOOL_FIELD(LowerThresholdCritical),
                                         KELVAR_TOOL_FIELD(LowerThresholdFatal),
                                         KELVAR_TOOL_FIELD(UpperThresholdNonCritical),
                                         KELVAR_TOOL_FIELD(UpperThresholdCritical),
                                         KELVAR_TOOL_FIELD(UpperThresholdFatal),
                                         KELVAR_TOOL_FIELD(DeviceID),
                                         KELVAR_TOOL_FIELD(Caption),
                                         KELVAR_TOOL_FIELD(Description),
                                         KELVAR_TOOL_FIELD(ZMCIndex)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarNfw::ZMCMESSAGELOGDATA& record) {
  using R = KelvarNfw::ZMCMESSAGELOGDATA;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(CreationTimeStamp), KELVAR_TOOL_FIELD(PerceivedSeverity),
                                         KELVAR_TOOL_FIELD(Message),           KELVAR_TOOL_FIELD(EventSequenceNumber),
                                         KELVAR_TOOL_FIELD(EventID),           KELVAR_TOOL_FIELD(MessageID),
                                         KELVAR_TOOL_FIELD(MessageArguments),  KELVAR_TOOL_FIELD(LogName),
                                         KELVAR_TOOL_FIELD(LogInstanceID),     KELVAR_TOOL_FIELD(ElementName),
                                         KELVAR_TOOL_FIELD(AuxiliaryData),     KELVAR_TOOL_FIELD(Hidden),
                                         KELVAR_TOOL_FIELD(ZMCIndex)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarNfw::ZMCMESSAGELOGDATAREST& record) {
  return RedfishLogRecord(record);
}

Record FieldsOf(const MAINTLOGREDFISHDATA& record) {
  return RedfishLogRecord(record);
}

Record FieldsOf(const OtherSystemVPD& record) {
  using R = OtherSystemVPD;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(Name), KELVAR_TOOL_FIELD(Manufacturer),
                                         KELVAR_TOOL_FIELD(PartNumber), KELVAR_TOOL_FIELD(FruPartNumber),
                                         KELVAR_TOOL_FIELD(SerialNumber)};
  return Read(record, kFields);
}

Record FieldsOf(const SystemBoardVPD& record) {
  using R = SystemBoardVPD;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(Name),          KELVAR_TOOL_FIELD(Manufacturer),
                                         KELVAR_TOOL_FIELD(Model),         KELVAR_TOOL_FIELD(PartNumber),
                                         KELVAR_TOOL_FIELD(FruPartNumber), KELVAR_TOOL_FIELD(SerialNumber)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarAgentless::ComputerSystem& record) {
  using R = KelvarAgentless::ComputerSystem;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(ProductName),  KELVAR_TOOL_FIELD(Version),
                                         KELVAR_TOOL_FIELD(Manufacturer), KELVAR_TOOL_FIELD(SystemGUID),
                                         KELVAR_TOOL_FIELD(SerialNumber), KELVAR_TOOL_FIELD(Model),
                                         KELVAR_TOOL_FIELD(UUID)};
  return Read(record, kFields);
}

Record FieldsOf(const KelvarOptions::SoftwareIdentity_& record) {
  using R = KelvarOptions::SoftwareIdentity_;
  static constexpr Field<R> kFields[] = {KELVAR_TOOL_FIELD(Name),
                                         KELVAR_TOOL_FIELD(VersionString),
                                         KELVAR_TOOL_FIELD(SoftwareID),
                                         KELVAR_TOOL_FIELD(ReleaseDate),
                                         KELVAR_TOOL_FIELD(Description),
                                         KELVAR_TOOL_FIELD(ElementName),
                                         KELVAR_TOOL_FIELD(ProductName),
                                         KELVAR_TOOL_FIELD(Manufacturer),
                                         KELVAR_TOOL_FIELD(Classifications),
                                         KELVAR_TOOL_FIELD(ClassificationDescriptions),
                                         KELVAR_TOOL_FIELD(IdentityInfoType),
                                         KELVAR_TOOL_FIELD(IdentityInfoValue),
                                         KELVAR_TOOL_FIELD(SubDeviceID),
                                         KELVAR_TOOL_FIELD(SoftwareStatus),
                                         KELVAR_TOOL_FIELD(SoftwareRole),
                                         KELVAR_TOOL_FIELD(IsPLDMUpdateSupported),
                                         KELVAR_TOOL_FIELD(InstanceID),
                                         KELVAR_TOOL_FIELD(AssociatedAdapterSlot),
                                         KELVAR_TOOL_FIELD(LastUpdateError),
                                         KELVAR_TOOL_FIELD(LastUpdateErrorString),
                                         KELVAR_TOOL_FIELD(RelatedItems)};
  return Read(record, kFields);
}

#undef KELVAR_TOOL_FIELD

Record FieldsOf(NodeFirmwareInventory::ZMCGENERATIONTYPE generation) {
  // The enumeration counts from 0, people from 1.
  return {{"Generation", u64{static_cast<u32>(generation) + 1}}};
}

}  // namespace

template <class R>
Record RecordOf(const R& record) {
  return FieldsOf(record);
}

template Record RecordOf(const KelvarNfw::NODEFIRMWAREBUILDID& record);
template Record RecordOf(const KelvarNfw::NODEFIRMWARESYSTEMVPD& record);
template Record RecordOf(const KelvarNfw::ZMCDNSSETTINGDATA& record);
template Record RecordOf(const KelvarNfw::ZMCIPPROTOCOLENDPOINT& record);
template Record RecordOf(const KelvarNfw::ZMCSTATICIP& record);
template Record RecordOf(const KelvarNfw::ZMCSNMPCOMMUNITYSTRING& record);
template Record RecordOf(const KelvarNfw::INDICATORLEDS& record);
template Record RecordOf(const KelvarNfw::NUMERICSENSORS& record);
template Record RecordOf(const KelvarNfw::ZMCMESSAGELOGDATA& record);
template Record RecordOf(const KelvarNfw::ZMCMESSAGELOGDATAREST& record);
template Record RecordOf(const MAINTLOGREDFISHDATA& record);
template Record RecordOf(const OtherSystemVPD& record);
template Record RecordOf(const SystemBoardVPD& record);
template Record RecordOf(const KelvarAgentless::ComputerSystem& record);
template Record RecordOf(const KelvarOptions::SoftwareIdentity_& record);
template Record RecordOf(const NodeFirmwareInventory::ZMCGENERATIONTYPE& record);

const Value* FieldOf(const Record& record, std::string_view name) {
  const auto field = std::find_if(record.begin(), record.end(), [name](const auto& one) { return name == one.first; });
  return field == record.end() ? nullptr : &field->second;
}

std::string TextOf(const Value& value) {
  return std::visit(ValueText{}, value);
}

bool IsEmpty(const Value& value) {
  return std::visit(
      [](const auto& held) {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_arithmetic_v<T>) {
          return held == T{};
        } else {
          return held.empty();
        }
      },
      value);
}

bool HoldsFact(const Record& record) {
  return std::any_of(record.begin(), record.end(), [](const auto& field) {
    const auto isField = [&field](std::string_view name) { return name == field.first; };
    const bool counts = std::any_of(std::begin(kCounters), std::end(kCounters), isField);
    return !counts && IsFact(field.second);
  });
}

}  // namespace Kelvar::Tool
