#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include <kelvar/Types.h>

namespace Kelvar::Reader::Ipmi {

/// The areas of a FRU device, placeholders and padding taken away. A field that the device lacks is empty.
struct FruChassis {
  u8 type = 0;  ///< SMBIOS chassis type
  std::string partNumber;
  std::string serialNumber;
  std::vector<std::string> custom;
};

struct FruBoard {
  std::string manufactured;  ///< ISO 8601
  std::string manufacturer;
  std::string productName;
  std::string serialNumber;
  std::string partNumber;
  std::string fileId;
  std::vector<std::string> custom;
};

struct FruProduct {
  std::string manufacturer;
  std::string productName;
  std::string partNumber;
  std::string version;
  std::string serialNumber;
  std::string assetTag;
  std::string fileId;
  std::vector<std::string> custom;
};

/// What multirecords tell.
struct FruMultiRecords {
  std::optional<double> capacityWatts;  ///< of a power supply
  std::optional<std::vector<u8>> systemGuid;
};

/// What is wrong with the data, in words.
struct FruFault {
  std::string text;
  bool losesValues = true;  ///< or may have changed them
};

struct FruInventory {
  std::optional<FruChassis> chassis;
  std::optional<FruBoard> board;
  std::optional<FruProduct> product;
  FruMultiRecords records;
  std::vector<FruFault> faults;
  bool headerHolds = false;  ///< these are FRU data, whatever is wrong with them

  bool IsEmpty() const noexcept { return !chassis && !board && !product; }
};

/// Offsets in the common header, in bytes; 0 for an area that is not there.
struct FruHeader {
  std::size_t chassis = 0;
  std::size_t board = 0;
  std::size_t product = 0;
  std::size_t multiRecords = 0;
  bool checksumHolds = false;
};
constexpr std::size_t kFruHeaderSize = 8;

/// Nothing for fewer than 8 bytes or another format version than 1.
std::optional<FruHeader> ParseFruHeader(std::span<const u8> bytes) noexcept;

/// The header of a multirecord.
struct MultiRecordHeader {
  u8 type = 0;
  bool last = false;
  std::size_t length = 0;  ///< of its data
  u8 checksum = 0;         ///< of its data
};
constexpr std::size_t kMultiRecordHeaderSize = 5;
constexpr std::size_t kMostMultiRecords = 64;

/// Nothing when the header's own checksum does not hold.
std::optional<MultiRecordHeader> ParseMultiRecordHeader(std::span<const u8> bytes) noexcept;

/// A device's bytes from its start on, as far as they could be read.
///
/// An area whose checksum is wrong gives its values where its fields come to their end, as those of arbitrary bytes
/// seldom do. One whose checksum was never set (00 or FF in its place), and the fields of one that goes on past the
/// data, are given. After a header with a wrong checksum only areas with a right one are. Each of these is a fault.
FruInventory ParseFru(std::span<const u8> bytes);

}  // namespace Kelvar::Reader::Ipmi
