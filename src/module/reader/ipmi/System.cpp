#include "module/reader/ipmi/ReadingContext.h"

#include "module/reader/ipmi/Dcmi.h"
#include "module/reader/ipmi/FruReader.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

/// A GUID; empty when the target has none.
std::string ReadGuid(ReadingContext& context, u8 command, const char* what, FamilyProgress& progress) {
  const CommandReply reply = context.commands.Run(kNetFnApplication, command);
  if (!reply.Ok() && !reply.IsAbsent()) {
    progress.Miss(reply, what);
  }
  return reply.Ok() ? GuidText(reply.data) : std::string();
}

void AddChassisStatus(const ChassisStatus& status, Model::System& system) {
  system.power_state = status.powerOn ? "on" : "off";
  const auto tell = [&system](bool fault, const char* word, Model::Health health) {
    if (fault) {
      system.health_text += (system.health_text.empty() ? "" : ", ") + std::string(word);
      system.health = system.health == NameOf(Model::Health::Critical) ? system.health : NameOf(health);
    }
  };
  tell(status.powerFault, "power fault", Model::Health::Critical);
  tell(status.fanFault, "fan fault", Model::Health::Critical);
  tell(status.driveFault, "drive fault", Model::Health::Critical);
  tell(status.intrusion, "chassis intrusion", Model::Health::Warning);
}

Model::System ReadHost(ReadingContext& context, FamilyProgress& progress) {
  Model::System system;
  system.id = kSystemId;
  system.kind = "system";
  system.uuid = ReadGuid(context, kGetSystemGuid, "system GUID", progress);
  if (const auto* status = ChassisStatusOf(context, progress)) {
    AddChassisStatus(*status, system);
  }
  system.host_name = ReadSystemInfo(context, kSystemName, progress);
  system.bios_version = ReadSystemInfo(context, kSystemFirmwareVersion, progress);
  const FruInventory& fru = OwnFru(context, progress);
  if (system.uuid.empty() && fru.records.systemGuid) {
    system.uuid = GuidText(*fru.records.systemGuid);
  }
  if (fru.product) {
    system.manufacturer = fru.product->manufacturer;
    system.model = fru.product->productName;
    system.name = fru.product->productName;
    system.part_number = fru.product->partNumber;
    system.serial_number = fru.product->serialNumber;
    system.asset_tag = fru.product->assetTag;
  }
  if (system.asset_tag.empty()) {
    system.asset_tag = DcmiAssetTag(context, progress);
  }
  return system;
}

/// Get Self Test Results.
void AddSelfTest(ReadingContext& context, FamilyProgress& progress, Model::System& manager) {
  const CommandReply reply = context.commands.Run(kNetFnApplication, kGetSelfTest);
  if (!reply.Ok()) {
    if (!reply.IsAbsent()) {
      progress.Miss(reply, "self test");
    }
    return;
  }
  const SelfTest test = ParseSelfTest(reply.data);
  if (test.health != Model::Health::Unknown) {
    manager.health = NameOf(test.health);
  }
  manager.health_text = test.text;
}

Model::System ReadManager(ReadingContext& context, FamilyProgress& progress) {
  Model::System manager;
  manager.id = kManagerId;
  manager.kind = "manager";
  if (context.device) {
    manager.firmware_version = context.device->firmware;
    manager.state = context.device->updating ? "updating" : "enabled";
  } else {
    progress.Miss(context.deviceReply, "device ID");
  }
  manager.uuid = ReadGuid(context, kGetDeviceGuid, "device GUID", progress);
  manager.host_name = ControllerName(context, progress);
  AddSelfTest(context, progress, manager);
  return manager;
}

}  // namespace

const ChassisStatus* ChassisStatusOf(ReadingContext& context, FamilyProgress& progress) {
  if (!context.chassis) {
    const CommandReply reply = context.commands.Run(kNetFnChassis, kGetChassisStatus);
    context.chassis = reply.Ok() ? ParseChassisStatus(reply.data) : std::nullopt;
    if (!context.chassis && !reply.IsAbsent()) {
      progress.Miss(reply, "chassis status");
    }
  }
  return context.chassis ? &*context.chassis : nullptr;
}

std::string ReadSystemInfo(ReadingContext& context, u8 parameter, FamilyProgress& progress) {
  constexpr u8 kMostBlocks = 17;  // 255 bytes
  constexpr std::size_t kRevisionAndSet = 2;
  if (const auto known = context.systemInfo.find(parameter); known != context.systemInfo.end()) {
    return known->second;
  }
  SystemInfoText text;
  for (u8 block = 0; block < kMostBlocks && !text.IsComplete(); ++block) {
    const CommandReply reply = context.commands.Run(kNetFnApplication, kGetSystemInfo, {0, parameter, block, 0});
    if (!reply.Ok() && !reply.IsAbsent() && reply.outcome != Outcome::LengthRefused) {
      progress.Miss(reply, "system info parameter " + std::to_string(parameter));
      return {};
    }
    if (!reply.Ok() || reply.data.size() < kRevisionAndSet ||
        !text.AddBlock(std::span(reply.data).subspan(kRevisionAndSet))) {
      break;  // no text, or one that ends before the length that it told
    }
  }
  return context.systemInfo[parameter] = text.Decode();
}

void ReadSystem(ReadingContext& context) {
  FamilyProgress progress("system");
  context.inventory.systems.push_back(ReadHost(context, progress));
  context.inventory.systems.push_back(ReadManager(context, progress));
  context.inventory.ResultOf(Model::Family::System) = progress.Result(true);
}

void ReadLeds(ReadingContext& context) {
  FamilyProgress progress("leds");
  const ChassisStatus* status = ChassisStatusOf(context, progress);
  const bool told = status != nullptr && status->identify;
  if (told) {
    Model::Led led;
    led.id = "identify";
    led.name = "Chassis identify";
    led.parent = kSystemId;
    led.purpose = "locate";
    led.state = *status->identify == 0 ? "off" : *status->identify < 3 ? "lit" : "unknown";
    context.inventory.leds.push_back(std::move(led));
  }
  context.inventory.ResultOf(Model::Family::Leds) = progress.Result(told);
}

}  // namespace Kelvar::Reader::Ipmi
