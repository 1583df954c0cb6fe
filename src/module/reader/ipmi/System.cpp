#include "module/reader/ipmi/ReadingContext.h"

#include "module/reader/ipmi/FruReader.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u8 kChassis = 0x00;
constexpr u8 kApplication = 0x06;
constexpr u8 kSelfTest = 0x04;
constexpr u8 kGetChassisStatus = 0x01;
constexpr u8 kGetDeviceGuid = 0x08;
constexpr u8 kGetSystemGuid = 0x37;
constexpr u8 kGetSystemInfo = 0x59;

/// A GUID; empty when the target has none.
std::string ReadGuid(ReadingContext& context, u8 command, const char* what, FamilyProgress& progress) {
  const CommandReply reply = context.commands.Run(kApplication, command);
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
  system.host_name = ReadSystemInfo(context.commands, kSystemName);
  system.bios_version = ReadSystemInfo(context.commands, kSystemFirmwareVersion);
  const FruInventory& fru = OwnFru(context, progress);
  if (fru.product) {
    system.manufacturer = fru.product->manufacturer;
    system.model = fru.product->productName;
    system.name = fru.product->productName;
    system.part_number = fru.product->partNumber;
    system.serial_number = fru.product->serialNumber;
    system.asset_tag = fru.product->assetTag;
  }
  return system;
}

/// Get Self Test Results.
void AddSelfTest(const CommandReply& reply, Model::System& manager) {
  constexpr u8 kGood = 0x55;
  constexpr u8 kCorrupted = 0x57;
  constexpr u8 kFatal = 0x58;
  const u8 result = reply.Ok() && !reply.data.empty() ? reply.data[0] : 0;
  if (result == kGood) {
    manager.health = NameOf(Model::Health::Ok);
  } else if (result == kCorrupted) {
    manager.health = NameOf(Model::Health::Warning);
    manager.health_text = "self test: corrupted or inaccessible data or devices";
  } else if (result == kFatal) {
    manager.health = NameOf(Model::Health::Critical);
    manager.health_text = "self test: fatal hardware error";
  }
}

Model::System ReadManager(ReadingContext& context, FamilyProgress& progress) {
  Model::System manager;
  manager.id = kManagerId;
  manager.kind = "manager";
  if (context.device) {
    manager.firmware_version = context.device->firmware;
    manager.state = context.device->updating ? "updating" : "enabled";
  } else {
    progress.Miss(GapKind::Unusable, FailureCause::BadData, "device ID", "the response is too short");
  }
  manager.uuid = ReadGuid(context, kGetDeviceGuid, "device GUID", progress);
  AddSelfTest(context.commands.Run(kApplication, kSelfTest), manager);
  return manager;
}

}  // namespace

const ChassisStatus* ChassisStatusOf(ReadingContext& context, FamilyProgress& progress) {
  if (!context.chassis) {
    const CommandReply reply = context.commands.Run(kChassis, kGetChassisStatus);
    context.chassis = reply.Ok() ? ParseChassisStatus(reply.data) : std::nullopt;
    if (!context.chassis && !reply.IsAbsent()) {
      progress.Miss(reply, "chassis status");
    }
  }
  return context.chassis ? &*context.chassis : nullptr;
}

std::string ReadSystemInfo(CommandRunner& commands, u8 parameter) {
  constexpr u8 kMostBlocks = 17;  // 255 bytes
  SystemInfoText text;
  for (u8 block = 0; block < kMostBlocks; ++block) {
    const CommandReply reply = commands.Run(kApplication, kGetSystemInfo, {0, parameter, block, 0});
    constexpr std::size_t kRevisionAndSet = 2;
    if (!reply.Ok() || reply.data.size() < kRevisionAndSet ||
        !text.AddBlock(std::span(reply.data).subspan(kRevisionAndSet))) {
      return {};
    }
    if (text.IsComplete()) {
      return text.Decode();
    }
  }
  return {};
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
