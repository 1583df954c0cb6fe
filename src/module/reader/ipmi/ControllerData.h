#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <kelvar/Inventory.h>

namespace Kelvar::Reader::Ipmi {

/// Get Device ID.
struct DeviceId {
  u8 id = 0;
  bool hasDeviceSdrs = false;
  bool updating = false;
  u8 support = 0;        ///< bits of the devices that the controller has
  std::string firmware;  ///< "2.45"
  u8 firmwareMajor = 0;
  u8 firmwareMinor = 0;  ///< as sent: BCD by the standard
  u32 manufacturer = 0;  ///< IANA enterprise number
  u16 product = 0;
  std::optional<std::array<u8, 4>> auxiliary;

  bool HasSdrRepository() const noexcept { return (support & 0x02) != 0; }
  bool HasSel() const noexcept { return (support & 0x04) != 0; }
  bool HasFru() const noexcept { return (support & 0x08) != 0; }
};
std::optional<DeviceId> ParseDeviceId(std::span<const u8> data);

/// A GUID in RFC 4122 form. Targets send it reversed as the IPMI standard has it, in SMBIOS order (first three fields
/// with the low byte first), or in RFC order; the order is found by the version and variant fields, where only one
/// order gives valid ones. Where more do, SMBIOS order, the most usual one, is taken first; where none does, that
/// in which it is a node alone, else that of the standard. Empty for all zeros and all ones.
std::string GuidText(std::span<const u8> data);

/// Get Chassis Status.
struct ChassisStatus {
  bool powerOn = false;
  bool powerFault = false;     ///< fault of the main power, an overload, or a fault in power control
  std::optional<u8> identify;  ///< 0 off, 1 for a time, 2 until changed; nothing when the target does not tell
  bool fanFault = false;
  bool driveFault = false;
  bool intrusion = false;
};
std::optional<ChassisStatus> ParseChassisStatus(std::span<const u8> data);

/// Get Self Test Results, as the health of the controller and, where something is wrong, words for it.
struct SelfTest {
  Model::Health health = Model::Health::Unknown;
  std::string text;
};
SelfTest ParseSelfTest(std::span<const u8> data);

/// Get System Info Parameters: the blocks of one text, each without the parameter's revision and set selector.
/// The first block begins with encoding and length. A NUL ends a text of single bytes before its length.
class SystemInfoText {
 public:
  /// False for an invalid block.
  bool AddBlock(std::span<const u8> block);
  bool IsComplete() const noexcept { return !first_ && (ended_ || bytes_.size() >= length_); }
  std::string Decode() const;

 private:
  bool first_ = true;
  bool ended_ = false;
  u8 encoding_ = 0;
  std::size_t length_ = 0;
  std::vector<u8> bytes_;
};

}  // namespace Kelvar::Reader::Ipmi
