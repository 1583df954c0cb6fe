#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include <kelvar/Types.h>

#include "module/nfw/inventory/ipmi/IpmiExchange.h"
#include "transport/ipmi/IpmiClientInterface.h"

namespace Kelvar {

/// One FRU Device Locator record, and what was read from its device.
class IPMIFRULocator {
 public:
  /// Nothing is ever read or looked up beyond this size.
  static constexpr std::size_t kDeviceSize = 5280;

  /// The fixed part of the record, its Record ID high byte first, without the reserved byte.
  std::array<u8, 14> SDRHead{};
  std::string IDString;
  /// Device contents from offset 0, as far as reads filled them; bytes after that count as zero.
  std::vector<u8> FRUData;

  u8 DeviceID() const noexcept { return SDRHead[6]; }

  /// False when the first 101 bytes of the device are all zero.
  bool IsfruDataAvailable() const noexcept;
  std::string GetIDString() const { return IDString; }

  /// Fills the two lists from the board area. With the text "CPU" both start with blanks; without a board area the
  /// board list is empty; with `bFRUZero` the second list is. Always 0.
  int BuildBoardInfo(const std::string& idString, bool bFRUZero);

  /// Component name, vendor, FRU number, part number, serial number.
  std::vector<std::string> GetBoardInfo() const { return boardInfo_; }
  /// Vendor, FRU number, part number, serial number.
  std::vector<std::string> GetFRUInfo() const { return fruInfo_; }

 private:
  u8 ByteAt(std::size_t index) const noexcept { return index < FRUData.size() ? FRUData[index] : u8{0}; }
  std::string BoardText(std::size_t offset) const;

  std::vector<std::string> boardInfo_;
  std::vector<std::string> fruInfo_;
};

/// What a Get SDR reply says of a record, when it holds at least its type.
struct SDRHeader {
  u16 nextRecord = 0;
  bool isLocator = false;
  std::array<u8, 14> head{};
};

/// Decodes the reply to a read of the first 15 record bytes; false for a reply that is too short. Records of another
/// type than a FRU Device Locator need to hold their type and no more.
bool DecodeSDRHeader(std::span<const u8> reply, SDRHeader& header) noexcept;

/// The ID text of a reply to a read from record byte 15 on: up to its first NUL, at most 300 characters. False for a
/// reply that is too short.
bool DecodeSDRString(std::span<const u8> reply, std::string& text);

/// One walk of the sensor data record repository. Only completion codes decide whether a command worked. Lets the
/// transport's exceptions pass.
class IPMIRequestFRULocator {
 public:
  enum Status : int { StatusOK = 0, StatusFail = 1, StatusNoMatchingData = 4 };

  /// Appends every FRU Device Locator record; what was found before a failure stays. The walk survives one failed
  /// command, a lost reservation for instance, and ends with StatusFail at the second, or when the repository leads
  /// to a record for a second time.
  int IPMIGetSDREntry(std::vector<IPMIFRULocator>& locators, IpmiClientInterface& transport);

  /// Reads the first 528 bytes of the locator's device, or of device 0. 0, or 15 on a failed command: what was read
  /// stays.
  int IPMIGetFRUData(IPMIFRULocator& locator, IpmiClientInterface& transport, bool bFRUZero);

 private:
  Status IPMIReserveSDR();
  Status IPMIGetSDRHeader(IPMIFRULocator& locator);
  Status IPMIGetSDRString(IPMIFRULocator& locator);
  Status GetLocator(IPMIFRULocator& locator);
  bool ReadRecord(u8 offset, u8 count, std::vector<u8>& data);
  void NoteFailure(const IpmiReply& reply);
  /// StatusFail, and a record of what is missing.
  Status EndWalk() const;

  IpmiClientInterface* client_ = nullptr;
  u16 reservation_ = 0;
  u16 currentRecord_ = 0;
  u16 nextRecord_ = 0;
  int lastSent_ = 0;
  u8 lastCompletionCode_ = 0;
};

}  // namespace Kelvar
