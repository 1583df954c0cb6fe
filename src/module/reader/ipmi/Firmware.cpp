#include <array>

#include "module/reader/ipmi/ReadingContext.h"
#include "module/reader/ipmi/TypedText.h"

namespace Kelvar::Reader::Ipmi {

namespace {

Model::Firmware Entry(const char* id, const char* name, const char* kind, std::string version) {
  Model::Firmware firmware;
  firmware.id = id;
  firmware.name = name;
  firmware.kind = kind;
  firmware.version = std::move(version);
  return firmware;
}

/// What runs now, else what is installed, as an agent of the operating system left it.
void AddOperatingSystem(ReadingContext& context, FamilyProgress& progress) {
  std::string name = ReadSystemInfo(context, kOsName, progress);
  if (name.empty()) {
    name = ReadSystemInfo(context, kPrimaryOsName, progress);
  }
  std::string version = ReadSystemInfo(context, kOsVersion, progress);
  if (!name.empty() || !version.empty()) {
    context.inventory.firmware.push_back(
        Entry("os", name.empty() ? "Operating system" : name.c_str(), "other", std::move(version)));
  }
}

}  // namespace

void ReadFirmware(ReadingContext& context) {
  constexpr std::array<u8, 4> kUnset{};
  FamilyProgress progress("firmware");
  auto& list = context.inventory.firmware;
  if (context.device) {
    list.push_back(Entry("bmc", "BMC firmware", "bmc", context.device->firmware));
    if (context.device->auxiliary != std::nullopt && *context.device->auxiliary != kUnset) {
      list.push_back(Entry("bmc-auxiliary", "BMC auxiliary revision", "bmc", HexText(*context.device->auxiliary)));
    }
  } else {
    progress.Miss(context.deviceReply, "device ID");
  }
  if (std::string version = ReadSystemInfo(context, kSystemFirmwareVersion, progress); !version.empty()) {
    list.push_back(Entry("system", "System firmware", "bios", std::move(version)));
  }
  AddOperatingSystem(context, progress);
  context.inventory.ResultOf(Model::Family::Firmware) = progress.Result(!list.empty());
}

}  // namespace Kelvar::Reader::Ipmi
