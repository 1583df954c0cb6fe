#include "module/reader/cim/CimReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include <kelvar/NodeFirmwareInventory.h>

#include "common/deadline/OperationDeadline.h"
#include "common/diagnostics/DiagnosticsRecorder.h"
#include "module/nfw/inventory/BackendFactory.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"
#include "module/reader/cim/CimText.h"
#include "module/reader/text/ModelText.h"

namespace Kelvar::Reader {

namespace {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using Model::Family;
using Model::FamilyStatus;

/// A build ID of the fixed record, and what it is in the model.
struct BuildRow {
  const char* name;
  const char* kind;
  const char* bank;
  char (KelvarNfw::NODEFIRMWAREBUILDID::*build)[24];
  char (KelvarNfw::NODEFIRMWAREBUILDID::*date)[12];
};

using Builds = KelvarNfw::NODEFIRMWAREBUILDID;

// The newer service processor's pair comes before the older one's: a target that fills both gives both the same.
const std::array<BuildRow, 11> kBuilds = {{
    {"Service processor, primary bank", "bmc", "primary", &Builds::BMCPVQBuildID, &Builds::BMCPVQBuildDate},
    {"Service processor, backup bank", "bmc", "backup", &Builds::BMCPVQBackUpBuildID, &Builds::BMCPVQBackUpBuildDate},
    {"Service processor, primary bank", "bmc", "primary", &Builds::BMCBuildID, &Builds::BMCBuildDate},
    {"Service processor, backup bank", "bmc", "backup", &Builds::BMCBackUpBuildID, &Builds::BMCBackUpBuildDate},
    {"UEFI, primary bank", "bios", "primary", &Builds::uEFIBuildID, &Builds::uEFIBuildDate},
    {"UEFI, backup bank", "bios", "backup", &Builds::uEFIBackUpBuildID, &Builds::uEFIBackUpBuildDate},
    {"Diagnostics", "other", "", &Builds::QDGpBuildID, &Builds::QDGpBuildIDDate},
    {"Provisioning component", "other", "", &Builds::WRBpBuildID, &Builds::WRBpBuildIDDate},
    {"Linux driver pack", "driver", "", &Builds::DRVLNpBuildID, &Builds::DRVLNpBuildIDDate},
    {"Windows driver pack", "driver", "", &Builds::DRVWNpBuildID, &Builds::DRVWNpBuildIDDate},
    {"Update manager component", "other", "", &Builds::SorelBuildID, &Builds::SorelBuildIDDate},
}};

/// Ids that no two records of a list share.
class UniqueIds {
 public:
  /// The name, with a number where it is taken.
  std::string IdFor(const std::string& name) {
    const std::string wanted = name.empty() ? "1" : name;
    const auto [taken, isNew] = numbers_.try_emplace(wanted, 1);
    std::string id = wanted;
    for (bool unique = isNew; !unique;) {
      id = wanted + ' ' + std::to_string(++taken->second);
      unique = numbers_.try_emplace(id, 1).second;
    }
    return id;
  }

 private:
  /// Of each id the last number that was tried, so that equal names cost no search.
  std::map<std::string, int> numbers_;
};

/// Empty for the addresses that mean none.
std::string AddressOf(std::string_view text) {
  std::string address = CleanText(text);
  return address == "0.0.0.0" || address == "::" ? std::string() : address;
}

/// The decimal number that the float stands for: 38.4, not 38.4000015.
double Decimal(float value) {
  std::array<char, 64> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  double decimal = static_cast<double>(value);
  std::from_chars(digits.data(), end, decimal);
  return decimal;
}

/// Between the tries to connect. A reading waits less than an operation does, and never beyond its end.
void PauseWithinReading(u32 milliseconds) {
  constexpr u32 kLongestMs = 250;
  std::this_thread::sleep_for(OperationDeadline::Within(std::chrono::milliseconds(std::min(milliseconds, kLongestMs))));
}

std::unique_ptr<NodeFirmwareInventory> MakeFacade(const KelvarConnection::ConnectionInfo& info) {
  BackendFactory parts;
  parts.primaryBackend = std::make_unique<NodeFirmwareInventoryImpCIM>(info, PauseWithinReading);
  parts.zmcApp = std::make_unique<zmcapp>(info, false, PauseWithinReading);
  return BackendFactory::MakeFacade(std::move(parts));
}

/// Whether a server of CIM, or one that may be, has answered.
bool HasAnswered(const Diagnostics& met) {
  const auto& exchanges = met.Exchanges();
  return met.ServiceUnderstood() || std::any_of(exchanges.begin(), exchanges.end(), [](const auto& exchange) {
           return exchange.status > 0 && exchange.cause != FailureCause::NotOffered &&
                  exchange.cause != FailureCause::NotSuchService;
         });
}

/// Some operations have no records where a request failed.
bool HasFailed(Code code, const Diagnostics& met) {
  if (code != NodeFirmwareInventory::INVENTORY_SUCCESS && code != NodeFirmwareInventory::INVENTORY_NO_INSTANCE) {
    return true;
  }
  const auto& gaps = met.Gaps();
  return std::any_of(gaps.begin(), gaps.end(), [](const DiagnosticGap& gap) {
    return gap.kind == GapKind::Failure && gap.cause != FailureCause::NotOffered;
  });
}

class CimReading {
 public:
  CimReading(const ReadRequest& request, Model::Inventory& inventory)
      : request_(request), inventory_(inventory), facade_(MakeFacade(request.info)), operations_(*facade_) {}

  void Run() {
    using Step = Model::FamilyResult (CimReading::*)();
    constexpr std::array<std::pair<Family, Step>, Model::kFamilyCount> kSteps = {{
        {Family::System, &CimReading::ReadSystem},
        {Family::Firmware, &CimReading::ReadFirmware},
        {Family::Components, &CimReading::ReadComponents},
        {Family::Sensors, &CimReading::ReadSensors},
        {Family::Leds, &CimReading::ReadLeds},
        {Family::Logs, &CimReading::ReadLogs},
        {Family::Network, &CimReading::ReadNetwork},
    }};
    for (const auto& [family, step] : kSteps) {
      if (!request_.Wants(family)) {
        continue;
      }
      if (request_.IsOver()) {
        DiagnosticsRecorder::AddGap(GapKind::Truncated, FailureCause::Deadline, NameOf(family),
                                    "the time for the reading was over");
        inventory_.ResultOf(family) = {FamilyStatus::Failed, FailureCause::Deadline,
                                       "the time for the reading was over"};
        continue;
      }
      inventory_.ResultOf(family) = (this->*step)();
    }
  }

 private:
  Model::FamilyResult ReadSystem();
  Model::FamilyResult ReadFirmware();
  Model::FamilyResult ReadComponents();
  Model::FamilyResult ReadSensors();
  Model::FamilyResult ReadLeds();
  Model::FamilyResult ReadLogs();
  Model::FamilyResult ReadNetwork();
  void TakeLog(const char* log, const std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& entries);
  void TakeAddresses(Model::NetworkInterface& into, const std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT>& endPoints,
                     const std::vector<KelvarNfw::ZMCSTATICIP>& assignments);

  /// Runs an operation with diagnostics of its own, which say why it failed.
  template <typename Operation>
  Code Try(Operation&& operation) {
    if (unreachable_) {
      failed_ = true;
      reason_ = *unreachable_;
      return NodeFirmwareInventory::INVENTORY_CONNECT_FAILED;
    }
    Diagnostics met;
    const DiagnosticsScope scope(met);
    const Code code = operation();
    answered_ = answered_ || code != NodeFirmwareInventory::INVENTORY_CONNECT_FAILED || HasAnswered(met);
    if (HasFailed(code, met)) {
      NoteFailure(met);
    }
    if (!answered_) {
      unreachable_ = reason_;
    }
    return code;
  }
  void NoteFailure(const Diagnostics& met);
  Model::FamilyResult Result(std::size_t count);

  const ReadRequest& request_;
  Model::Inventory& inventory_;
  const std::unique_ptr<NodeFirmwareInventory> facade_;
  NodeFirmwareInventory& operations_;
  bool answered_ = false;                   ///< some operation had a connection
  std::optional<std::string> unreachable_;  ///< why none had one; nothing more is tried then
  bool failed_ = false;
  std::size_t logEntries_ = 0;  ///< of all logs, with those that are left out
  FailureCause cause_ = FailureCause::None;
  std::string reason_;
};

/// What a family lacks is told first; that the target does not have something, only where that is all.
void CimReading::NoteFailure(const Diagnostics& met) {
  if (!failed_ || cause_ == FailureCause::NotOffered) {
    const FailureCause cause = met.Cause();
    cause_ = cause == FailureCause::None ? FailureCause::BadData : cause;
    reason_ = met.Detail().empty() ? "an operation failed" : met.Detail();
  }
  failed_ = true;
}

/// The result of the operations that have run since the last one.
Model::FamilyResult CimReading::Result(std::size_t count) {
  const bool failed = std::exchange(failed_, false);
  if (!failed) {
    return {count != 0 ? FamilyStatus::Complete : FamilyStatus::Absent, FailureCause::None,
            count != 0 ? "" : "the target has none"};
  }
  if (cause_ == FailureCause::NotOffered) {
    return {count != 0 ? FamilyStatus::Partial : FamilyStatus::Absent, cause_, std::exchange(reason_, {})};
  }
  return {count != 0 ? FamilyStatus::Partial : FamilyStatus::Failed, cause_, std::exchange(reason_, {})};
}

Model::FamilyResult CimReading::ReadSystem() {
  KelvarAgentless::ComputerSystem told;
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  Try([&] { return operations_.GetHardwareInfoComputerSystem(told); });
  Try([&] { return operations_.GetNodeFirmwareSystemVPD(vpd); });
  Model::System system;
  system.id = "system";
  system.kind = "system";
  system.name = CleanText(told.ProductName);
  system.manufacturer = CleanText(told.Manufacturer);
  system.model = CleanText(told.Model.empty() ? vpd.MachineType : told.Model);
  system.serial_number = CleanText(told.SerialNumber.empty() ? vpd.SerialNumber : told.SerialNumber);
  system.uuid = Uuid(CleanText(told.UUID));
  const bool any = !(system.name + system.manufacturer + system.model + system.serial_number + system.uuid).empty();
  if (any) {
    inventory_.systems.push_back(std::move(system));
  }
  return Result(inventory_.systems.size());
}

Model::FamilyResult CimReading::ReadFirmware() {
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> list;
  Try([&] { return operations_.GetNodeFirmwareBuildID(list); });
  UniqueIds ids;
  for (const auto& record : list) {
    for (const BuildRow& row : kBuilds) {
      Model::Firmware firmware;
      firmware.version = CleanText(record.*row.build);
      const bool known = std::any_of(
          inventory_.firmware.begin(), inventory_.firmware.end(),
          [&](const Model::Firmware& one) { return one.version == firmware.version && one.name == row.name; });
      if (firmware.version.empty() || known) {
        continue;
      }
      firmware.id = ids.IdFor(row.name);
      firmware.name = row.name;
      firmware.kind = row.kind;
      firmware.bank = row.bank;
      firmware.date = DateOfBuild(record.*row.date);
      inventory_.firmware.push_back(std::move(firmware));
    }
  }
  return Result(inventory_.firmware.size());
}

Model::FamilyResult CimReading::ReadComponents() {
  std::vector<OtherSystemVPD> list;
  Try([&] { return operations_.GetNodeOtherSystemVPD(list); });
  UniqueIds ids;
  for (const OtherSystemVPD& told : list) {
    Model::Component component;
    component.name = CleanText(told.Name);
    component.kind = KindOfComponent(component.name);
    component.manufacturer = CleanText(told.Manufacturer);
    component.part_number = CleanText(told.PartNumber);
    component.spare_part_number = CleanText(told.FruPartNumber);
    component.serial_number = CleanText(told.SerialNumber);
    const std::string& name = component.name.empty() ? component.serial_number : component.name;
    if (name.empty() && component.part_number.empty()) {
      continue;
    }
    component.id = ids.IdFor(name);
    inventory_.components.push_back(std::move(component));
  }
  return Result(inventory_.components.size());
}

Model::FamilyResult CimReading::ReadSensors() {
  std::vector<KelvarNfw::NUMERICSENSORS> list;
  Try([&] { return operations_.GetZMCNumericSensors(list); });
  UniqueIds ids;
  for (const KelvarNfw::NUMERICSENSORS& told : list) {
    Model::Sensor sensor;
    sensor.name = CleanText(told.ElementName);
    sensor.id = ids.IdFor(CleanText(told.DeviceID).empty() ? sensor.name : CleanText(told.DeviceID));
    CimUnit unit = UnitOfCim(told.BaseUnits);
    sensor.kind = std::move(unit.kind);
    sensor.unit = std::move(unit.unit);
    sensor.reading = Decimal(told.CurrentReading);
    sensor.health = HealthOfCim(told.HealthState);
    sensor.health_text = sensor.health == "ok" ? "" : CleanText(told.CurrentState);
    // Thresholds stay absent: over CIM they come without their scale, and a 0 may mean that there is none.
    inventory_.sensors.push_back(std::move(sensor));
  }
  return Result(inventory_.sensors.size());
}

Model::FamilyResult CimReading::ReadLeds() {
  std::vector<KelvarNfw::INDICATORLEDS> list;
  Try([&] { return operations_.GetZMCIndicatorLED(list); });
  UniqueIds ids;
  for (const KelvarNfw::INDICATORLEDS& told : list) {
    Model::Led led;
    led.name = CleanText(told.ElementName);
    led.id = ids.IdFor(CleanText(told.DeviceID).empty() ? led.name : CleanText(told.DeviceID));
    const std::string name = Lower(led.name);
    const bool locates = name.find("ident") != std::string::npos || name.find("locat") != std::string::npos;
    const bool faults = name.find("fault") != std::string::npos || name.find("health") != std::string::npos;
    led.purpose = locates ? "locate" : faults ? "health" : "other";
    const std::string state = Lower(told.ActivationState);
    led.state = state == "lit" || state == "blinking" || state == "off" ? state : "unknown";
    inventory_.leds.push_back(std::move(led));
  }
  return Result(inventory_.leds.size());
}

void CimReading::TakeLog(const char* log, const std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& entries) {
  std::vector<Model::LogEntry> taken;
  UniqueIds ids;
  const auto since = Instant(request_.options.log_since);
  logEntries_ += entries.size();
  for (const KelvarNfw::ZMCMESSAGELOGDATA& told : entries) {
    Model::LogEntry entry;
    entry.log = log;
    entry.id = ids.IdFor(std::string(log) + '/' + CleanText(told.EventSequenceNumber));
    entry.created = DateTimeOfCim(told.CreationTimeStamp);
    entry.severity = SeverityOfCim(told.PerceivedSeverity);
    entry.message = Trim(told.Message);
    entry.message_id = Trim(told.MessageID);
    std::string_view arguments = told.MessageArguments;
    while (!arguments.empty()) {
      const auto end = arguments.find('^');
      entry.arguments.emplace_back(arguments.substr(0, end));
      arguments = end == std::string_view::npos ? std::string_view() : arguments.substr(end + 1);
    }
    const auto time = Instant(entry.created);
    if (!since || !time || *time >= *since) {
      taken.push_back(std::move(entry));
    }
  }
  const u32 limit = request_.options.log_limit;
  if (limit != 0 && taken.size() > limit) {  // the oldest come first
    taken.erase(taken.begin(), taken.end() - static_cast<std::ptrdiff_t>(limit));
  }
  if (request_.options.newest_first) {
    std::reverse(taken.begin(), taken.end());
  }
  std::move(taken.begin(), taken.end(), std::back_inserter(inventory_.log_entries));
}

Model::FamilyResult CimReading::ReadLogs() {
  using Entries = std::vector<KelvarNfw::ZMCMESSAGELOGDATA>;
  Entries entries;
  Try([&] { return operations_.GetZMCMessageLogDataCIM(entries, 0); });
  TakeLog("event", entries);
  using Operation = Code (NodeFirmwareInventory::*)(Entries&);
  constexpr std::array<std::pair<const char*, Operation>, 2> kLogs = {{
      {"audit", &NodeFirmwareInventory::GetZMCAuditLogDataViaCIM},
      {"platform", &NodeFirmwareInventory::GetZMCPlatformLogDataViaCIM},
  }};
  for (const auto& [name, operation] : kLogs) {
    entries.clear();
    Try([&, operation = operation] { return (operations_.*operation)(entries); });
    TakeLog(name, entries);
  }
  return Result(logEntries_);
}

void CimReading::TakeAddresses(Model::NetworkInterface& into,
                               const std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT>& endPoints,
                               const std::vector<KelvarNfw::ZMCSTATICIP>& assignments) {
  for (const auto& told : endPoints) {
    Model::NetworkAddress address;
    address.address = AddressOf(told.IPAddress);
    if (address.address.empty()) {
      continue;
    }
    address.family = address.address.find(':') != std::string::npos ? "ipv6" : "ipv4";
    const std::string origin = Lower(told.AddressOrigin);
    address.origin = origin.find("static") != std::string::npos ? "static"
                     : origin.find("dhcp") != std::string::npos ? (address.family == "ipv6" ? "dhcpv6" : "dhcp")
                                                                : "";
    for (const auto& assignment : assignments) {
      if (assignment.IPv4Address == address.address) {
        address.gateway = AddressOf(assignment.GatewayIPv4Address);
      } else if (assignment.IPv6Address == address.address) {
        address.gateway = AddressOf(assignment.GatewayIPv6Address);
      }
    }
    into.addresses.push_back(std::move(address));
  }
}

Model::FamilyResult CimReading::ReadNetwork() {
  std::vector<KelvarNfw::ZMCDNSSETTINGDATA> names;
  std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT> endPoints;
  std::vector<KelvarNfw::ZMCSTATICIP> assignments;
  Try([&] { return operations_.GetZMCDNSSettingData(names); });
  Try([&] { return operations_.GetZMCIPProtocolEndPoint(endPoints); });
  Try([&] { return operations_.GetZMCStaticIPAddress(assignments); });
  Model::NetworkInterface interface;
  interface.owner = "manager";
  interface.id = "management";
  TakeAddresses(interface, endPoints, assignments);
  for (const auto& told : names) {
    interface.host_name = interface.host_name.empty() ? CleanText(told.RequestedHostname) : interface.host_name;
    std::string_view servers = told.DNSServerAddresses;
    while (!servers.empty()) {
      const auto end = servers.find(',');
      std::string server = AddressOf(servers.substr(0, end));
      servers = end == std::string_view::npos ? std::string_view() : servers.substr(end + 1);
      if (!server.empty()) {
        interface.name_servers.push_back(std::move(server));
      }
    }
  }
  const bool any = !interface.addresses.empty() || !interface.host_name.empty() || !interface.name_servers.empty();
  if (any) {
    inventory_.network_interfaces.push_back(std::move(interface));
  }
  return Result(inventory_.network_interfaces.size());
}

}  // namespace

void ReadCim(const ReadRequest& request, Model::Inventory& inventory) {
  const OperationDeadline deadline(request.SecondsLeft());
  CimReading(request, inventory).Run();
}

}  // namespace Kelvar::Reader
