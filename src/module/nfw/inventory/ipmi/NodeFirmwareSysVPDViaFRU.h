#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include <kelvar/InventoryRecords.h>

#include "transport/ipmi/IpmiClientInterface.h"

namespace Kelvar {

/// Text of one type/length field; empty when there is none.
class FRUFieldText {
 public:
  /// 63 bytes of binary data, two digits each.
  static constexpr std::size_t kLongest = 126;

  std::string_view View() const noexcept { return {text_.data(), length_}; }
  void Append(char character) noexcept {
    if (length_ < kLongest) {
      text_[length_++] = character;
    }
  }

 private:
  std::array<char, kLongest> text_{};
  std::size_t length_ = 0;
};

/// Decodes the type/length field at `position`, which moves past it. A field of length 0, and one that does not lie
/// wholly inside the area, has no text.
FRUFieldText DecodeFRUField(std::span<const u8> area, std::size_t& position) noexcept;

/// Machine type and serial number from the Product Info Area of FRU device 0. An instance lives for one call. Lets
/// the transport's exceptions pass.
class NodeFirmwareSysVPDViaFRU {
 public:
  /// 0 on success, also when the area holds neither text; 1 on failure. Writes only the fields it has a text for.
  int GetSystemVPD(IpmiClientInterface& client, KelvarNfw::NODEFIRMWARESYSTEMVPD& out);

 private:
  int ReadFRUSize(IpmiClientInterface& client);
  int ReadCommonHeader(IpmiClientInterface& client);
  int ReadFRUData(IpmiClientInterface& client, std::size_t offset, std::size_t size);
  std::size_t AreaEnd() const noexcept;
  void DecodeProductArea(KelvarNfw::NODEFIRMWARESYSTEMVPD& out) const;

  // Offsets are in units of 8 bytes.
  u8 formatVersion_ = 0;
  u8 internalUseOffset_ = 0;
  u8 chassisOffset_ = 0;
  u8 boardOffset_ = 0;
  u8 productOffset_ = 0;
  u8 multiRecordOffset_ = 0;
  u16 fruSize_ = 0;
  std::vector<u8> areaData_;
};

}  // namespace Kelvar
