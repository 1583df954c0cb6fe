#include "module/reader/ipmi/ControllerData.h"

#include <algorithm>
#include <cstdio>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/TypedText.h"

namespace Kelvar::Reader::Ipmi {

namespace {

using Text::ByteReader;
using Guid = std::array<u8, 16>;

constexpr u8 kUcs2 = 2;

/// "2.45": the minor revision is BCD, but not every target keeps to that.
std::string RevisionText(u8 major, u8 minor) {
  const bool bcd = (minor >> 4) <= 9 && (minor & 0x0F) <= 9;
  std::array<char, 16> text{};
  (void)std::snprintf(text.data(), text.size(), bcd ? "%u.%02x" : "%u.%u", unsigned{major}, unsigned{minor});
  return text.data();
}

Guid Reversed(Guid guid) {
  std::reverse(guid.begin(), guid.end());
  return guid;
}

Guid FromSmbios(Guid guid) {
  std::reverse(guid.begin(), guid.begin() + 4);
  std::reverse(guid.begin() + 4, guid.begin() + 6);
  std::reverse(guid.begin() + 6, guid.begin() + 8);
  return guid;
}

bool HasValidFields(const Guid& guid) {
  const u8 version = guid[6] >> 4;
  return version >= 1 && version <= 8 && (guid[8] & 0xC0) == 0x80;
}

/// By time and node, or random: what firmware makes.
bool HasUsualFields(const Guid& guid) {
  const u8 version = guid[6] >> 4;
  return HasValidFields(guid) && (version == 1 || version == 4);
}

/// All but the last field is zero: a MAC address in place of a GUID.
bool IsNodeAlone(const Guid& guid) {
  constexpr std::ptrdiff_t kNode = 10;
  return std::all_of(guid.begin(), guid.begin() + kNode, [](u8 byte) { return byte == 0; });
}

std::string RfcText(const Guid& guid) {
  std::string text = HexText(guid);
  for (const std::size_t at : {8U, 13U, 18U, 23U}) {
    text.insert(at, 1, '-');
  }
  return text;
}

/// The bits of a self test that found corrupted or inaccessible data or devices.
std::string CorruptedParts(u8 bits) {
  static constexpr std::array<const char*, 8> kParts = {
      "controller firmware corrupted",         "update firmware corrupted", "internal use area of the FRU corrupted",
      "sensor data repository empty",          "IPMB does not respond",     "FRU device not accessible",
      "sensor data repository not accessible", "event log not accessible"};
  std::string text;
  for (std::size_t bit = 0; bit < kParts.size(); ++bit) {
    if ((bits & (1U << bit)) != 0) {
      text += (text.empty() ? "" : ", ") + std::string(kParts[bit]);
    }
  }
  return text.empty() ? "corrupted or inaccessible data or devices" : text;
}

}  // namespace

std::optional<DeviceId> ParseDeviceId(std::span<const u8> data) {
  ByteReader reader(data);
  DeviceId device;
  device.id = reader.U8();
  device.hasDeviceSdrs = (reader.U8() & 0x80) != 0;
  const u8 major = reader.U8();
  device.updating = (major & 0x80) != 0;
  device.firmwareMajor = major & 0x7F;
  device.firmwareMinor = reader.U8();
  device.firmware = RevisionText(device.firmwareMajor, device.firmwareMinor);
  reader.Skip(1);  // version of IPMI
  device.support = reader.U8();
  device.manufacturer = reader.U16();
  device.manufacturer |= static_cast<u32>(reader.U8() & 0x0F) << 16;
  device.product = reader.U16();
  if (!reader.Ok()) {
    return std::nullopt;
  }
  const auto auxiliary = reader.Bytes(4);
  if (auxiliary.size() == 4) {
    device.auxiliary.emplace();
    std::copy(auxiliary.begin(), auxiliary.end(), device.auxiliary->begin());
  }
  return device;
}

std::string GuidText(std::span<const u8> data) {
  Guid sent{};
  if (data.size() < sent.size()) {
    return {};
  }
  std::copy_n(data.begin(), sent.size(), sent.begin());
  const auto all = [&sent](u8 value) {
    return std::all_of(sent.begin(), sent.end(), [value](u8 byte) { return byte == value; });
  };
  if (all(0x00) || all(0xFF)) {
    return {};
  }
  const std::array<Guid, 3> orders = {FromSmbios(sent), Reversed(sent), sent};
  for (const auto fits : {HasUsualFields, HasValidFields}) {
    if (std::count_if(orders.begin(), orders.end(), fits) == 1) {
      return RfcText(*std::find_if(orders.begin(), orders.end(), fits));
    }
  }
  // More than one order fits: that of SMBIOS is the most usual.
  const auto fitting = std::find_if(orders.begin(), orders.end(), HasValidFields);
  if (fitting != orders.end()) {
    return RfcText(*fitting);
  }
  return RfcText(IsNodeAlone(sent) ? sent : Reversed(sent));
}

std::optional<ChassisStatus> ParseChassisStatus(std::span<const u8> data) {
  ByteReader reader(data);
  const u8 power = reader.U8();
  reader.Skip(1);  // last power event
  const u8 misc = reader.U8();
  if (!reader.Ok()) {
    return std::nullopt;
  }
  ChassisStatus status;
  status.powerOn = (power & 0x01) != 0;
  status.powerFault = (power & 0x1A) != 0;
  if ((misc & 0x40) != 0) {
    status.identify = (misc >> 4) & 0x03;
  }
  status.fanFault = (misc & 0x08) != 0;
  status.driveFault = (misc & 0x04) != 0;
  status.intrusion = (misc & 0x01) != 0;
  return status;
}

SelfTest ParseSelfTest(std::span<const u8> data) {
  constexpr u8 kGood = 0x55;
  constexpr u8 kNotImplemented = 0x56;
  constexpr u8 kCorrupted = 0x57;
  constexpr u8 kFatal = 0x58;
  constexpr u8 kReserved = 0xFF;
  using Model::Health;
  ByteReader reader(data);
  const u8 result = reader.U8();
  if (!reader.Ok() || result == kNotImplemented || result == kReserved) {
    return {};
  }
  if (result == kGood) {
    return {Health::Ok, {}};
  }
  if (result == kFatal) {
    return {Health::Critical, "self test: fatal hardware error"};
  }
  return {Health::Warning,
          "self test: " + (result == kCorrupted ? CorruptedParts(reader.U8()) : "device-specific failure")};
}

bool SystemInfoText::AddBlock(std::span<const u8> block) {
  if (first_) {
    if (block.size() < 2) {
      return false;
    }
    encoding_ = block[0] & 0x0F;
    length_ = block[1];
    block = block.subspan(2);
    first_ = false;
  }
  const std::size_t taken = std::min(block.size(), length_ - std::min(length_, bytes_.size()));
  bytes_.insert(bytes_.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(taken));
  ended_ = encoding_ != kUcs2 && std::find(bytes_.begin(), bytes_.end(), u8{0}) != bytes_.end();
  return taken > 0 || IsComplete();
}

std::string SystemInfoText::Decode() const {
  return WithoutPlaceholder(encoding_ == kUcs2 ? DecodeUtf16(bytes_) : DecodeLatin1(bytes_));
}

}  // namespace Kelvar::Reader::Ipmi
