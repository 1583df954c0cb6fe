#include "module/nfw/inventory/ipmi/NodeFirmwareSysVPDViaFRU.h"

#include <algorithm>

#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"
#include "common/text/FixedText.h"
#include "module/nfw/inventory/ipmi/IpmiExchange.h"

namespace Kelvar {

using KelvarNfw::NODEFIRMWARESYSTEMVPD;

namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 1;

constexpr u8 kDevice = 0x00;
constexpr std::string_view kWhat = "FRU device 0";
constexpr std::size_t kUnit = 8;
constexpr std::size_t kChunk = 35;

/// After the area's format version, length and language code.
constexpr std::size_t kFirstField = 3;
constexpr int kMachineTypeField = 2;
constexpr int kSerialNumberField = 4;

int RecordFailure(const IpmiReply& reply) {
  if (reply.Ok()) {
    RecordUnusable(kWhat);
  } else {
    RecordMissing(kWhat, reply);
  }
  return kFailure;
}

void AppendBinary(FRUFieldText& text, std::span<const u8> bytes) noexcept {
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (const u8 byte : bytes) {
    text.Append(kDigits[byte >> 4]);
    text.Append(kDigits[byte & 0x0F]);
  }
}

/// One character a byte, from its low nibble; the standard would pack two.
void AppendBCDPlus(FRUFieldText& text, std::span<const u8> bytes) noexcept {
  for (const u8 byte : bytes) {
    text.Append(kBCDPlus[byte & 0x0F]);
  }
}

/// Four characters for each group of three bytes, low bits first; zero bits fill up the last group.
void AppendSixBit(FRUFieldText& text, std::span<const u8> bytes) noexcept {
  while (!bytes.empty()) {
    const std::size_t count = std::min<std::size_t>(bytes.size(), 3);
    u32 group = 0;
    for (std::size_t i = 0; i < count; ++i) {
      group |= static_cast<u32>(bytes[i]) << (8 * i);
    }
    for (unsigned shift = 0; shift < 24; shift += 6) {
      text.Append(static_cast<char>(0x20 + ((group >> shift) & 0x3F)));
    }
    bytes = bytes.subspan(count);
  }
}

void AppendEightBit(FRUFieldText& text, std::span<const u8> bytes) noexcept {
  for (const u8 byte : bytes) {
    text.Append(static_cast<char>(byte));
  }
}

}  // namespace

FRUFieldText DecodeFRUField(std::span<const u8> area, std::size_t& position) noexcept {
  using Decoder = void (*)(FRUFieldText&, std::span<const u8>) noexcept;
  static constexpr Decoder kDecoders[] = {AppendBinary, AppendBCDPlus, AppendSixBit, AppendEightBit};
  FRUFieldText text;
  Text::ByteReader reader(area);
  reader.Skip(position);
  const u8 typeLength = reader.U8();
  const std::size_t length = typeLength & 0x3F;
  const auto stored = reader.Bytes(length);
  position = reader.Ok() ? reader.Position() : area.size();
  kDecoders[typeLength >> 6](text, stored);
  return text;
}

int NodeFirmwareSysVPDViaFRU::ReadFRUSize(IpmiClientInterface& client) {
  const IpmiReply reply = SendCommand(client, kNetFnStorage, kGetFruAreaInfo, {kDevice});
  Text::ByteReader reader(reply.data);
  fruSize_ = reader.U16();
  if (!reply.Ok() || !reader.Ok()) {
    return RecordFailure(reply);
  }
  KELVAR_LOG(4) << "FRU Size is " << fruSize_;
  if (fruSize_ == 0) {
    KELVAR_LOG(1) << "Invalid FRU size.";
    RecordUnusable(kWhat, "its size is 0");
    return kFailure;
  }
  return kSuccess;
}

int NodeFirmwareSysVPDViaFRU::ReadCommonHeader(IpmiClientInterface& client) {
  const IpmiReply reply =
      SendCommand(client, kNetFnStorage, kReadFruData, {kDevice, 0x00, 0x00, static_cast<u8>(kUnit)});
  Text::ByteReader reader(reply.data);
  reader.Skip(1);
  formatVersion_ = reader.U8();
  internalUseOffset_ = reader.U8();
  chassisOffset_ = reader.U8();
  boardOffset_ = reader.U8();
  productOffset_ = reader.U8();
  multiRecordOffset_ = reader.U8();
  if (!reply.Ok() || !reader.Ok()) {
    return RecordFailure(reply);
  }
  if (formatVersion_ != 1) {
    KELVAR_LOG(1) << "Unknown FRU header version";
    RecordUnusable(kWhat, "its header has an unknown version");
    return kFailure;
  }
  return kSuccess;
}

/// The area is taken to reach to the MultiRecord Area, or to the end of the device; its own length is not read.
std::size_t NodeFirmwareSysVPDViaFRU::AreaEnd() const noexcept {
  const std::size_t end = multiRecordOffset_ > productOffset_ ? multiRecordOffset_ * kUnit : std::size_t{fruSize_};
  return std::min<std::size_t>(end, fruSize_);
}

int NodeFirmwareSysVPDViaFRU::ReadFRUData(IpmiClientInterface& client, std::size_t offset, std::size_t size) {
  areaData_.clear();
  areaData_.reserve(size);
  for (std::size_t asked = 0; asked < size;) {
    const std::size_t count = std::min(size - asked, kChunk);
    const std::size_t at = offset + asked;
    const IpmiReply reply =
        SendCommand(client, kNetFnStorage, kReadFruData,
                    {kDevice, static_cast<u8>(at & 0xFF), static_cast<u8>(at >> 8), static_cast<u8>(count)});
    if (!reply.Ok()) {
      return RecordFailure(reply);
    }
    Text::ByteReader reader(reply.data);
    reader.Skip(1);
    const auto data = reader.Rest();
    const std::size_t given = std::min(data.size(), count);
    areaData_.insert(areaData_.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(given));
    if (given < count) {
      RecordUnusable(kWhat);
      break;  // what would follow has no known place any more
    }
    asked += count;
  }
  return kSuccess;
}

void NodeFirmwareSysVPDViaFRU::DecodeProductArea(NODEFIRMWARESYSTEMVPD& out) const {
  std::size_t position = kFirstField;
  for (int index = 0; index <= kSerialNumberField; ++index) {
    const FRUFieldText field = DecodeFRUField(areaData_, position);
    const std::string_view text = field.View().substr(0, field.View().find('\0'));
    if (text.empty()) {
      continue;
    }
    if (index == kMachineTypeField) {
      Text::CopyFixed(out.MachineType, text);
      KELVAR_LOG(4) << "MTM read from FRU is " << Text::FixedView(out.MachineType);
    } else if (index == kSerialNumberField) {
      Text::CopyFixed(out.SerialNumber, text);
      KELVAR_LOG(4) << "SerialNum read from FRU is " << Text::FixedView(out.SerialNumber);
    }
  }
}

int NodeFirmwareSysVPDViaFRU::GetSystemVPD(IpmiClientInterface& client, NODEFIRMWARESYSTEMVPD& out) {
  if (ReadFRUSize(client) != kSuccess || ReadCommonHeader(client) != kSuccess) {
    return kFailure;
  }
  const std::size_t start = productOffset_ * kUnit;
  const std::size_t end = AreaEnd();
  if (productOffset_ == 0 || start >= end) {
    RecordUnusable(kWhat, "it has no product area");
    return kFailure;
  }
  if (ReadFRUData(client, start, end - start) != kSuccess) {
    return kFailure;
  }
  DecodeProductArea(out);
  return kSuccess;
}

}  // namespace Kelvar
