#include "module/reader/ipmi/FruInventory.h"

#include <algorithm>
#include <numeric>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/EventTime.h"
#include "module/reader/ipmi/TypedText.h"

namespace Kelvar::Reader::Ipmi {

namespace {

using Text::ByteReader;
using Bytes = std::span<const u8>;
using Faults = std::vector<FruFault>;

constexpr std::size_t kBlock = 8;
constexpr u8 kFormatVersion = 1;
constexpr u8 kEndOfFields = 0xC1;

bool SumsToZero(Bytes bytes) noexcept {
  return static_cast<u8>(std::accumulate(bytes.begin(), bytes.end(), 0U)) == 0;
}

bool IsEnglish(u8 language) noexcept {
  return language == 0 || language == 25;
}

/// Skips fields and the end of fields. Whether the fields are as long as they say.
bool SkipFields(ByteReader& reader) {
  u8 typeLength = reader.U8();
  while (reader.Ok() && typeLength != kEndOfFields) {
    reader.Skip(typeLength & 0x3F);
    typeLength = reader.U8();
  }
  return reader.Ok();
}

bool EndProperly(Bytes fields) {
  ByteReader reader(fields);
  return SkipFields(reader);
}

/// Some targets write a text of one character as such, which has the byte of the end of fields. `rest`, what follows
/// that byte, tells: further fields up to an end, and nothing but padding after it.
bool IsOneCharacter(Bytes rest) {
  const auto isPrintable = [](u8 byte) { return byte > 0x20 && byte < 0x7F; };
  ByteReader reader(rest);
  bool end = true;
  while (end) {
    if (!isPrintable(reader.U8())) {
      return false;
    }
    const bool skipped = SkipFields(reader);
    ByteReader after = reader;
    const Bytes padding = after.Rest();
    end = skipped && std::any_of(padding.begin(), padding.end(), [](u8 byte) { return byte != 0; });
  }
  return reader.Ok();
}

/// All 8-bit texts of an area, joined; those of a few letters prove together what none proves alone.
std::vector<u8> EightBitTexts(ByteReader fields) {
  std::vector<u8> joined;
  while (fields.Remaining() > 0) {
    const u8 typeLength = fields.U8();
    const Bytes bytes = typeLength == kEndOfFields ? Bytes() : fields.Bytes(typeLength & 0x3F);
    if (typeLength == kEndOfFields || !fields.Ok()) {
      break;
    }
    if (TextTypeOf(typeLength) == TextType::EightBit) {
      joined.insert(joined.end(), bytes.begin(), bytes.end());
    }
  }
  return joined;
}

/// The fields of an area, one after the other.
class FieldReader {
 public:
  FieldReader(ByteReader& reader, bool english, const char* area, Faults& faults)
      : reader_(reader), english_(english || IsPlainAscii(EightBitTexts(reader))), area_(area), faults_(faults) {}

  /// Empty from the end of the fields on.
  std::string Next() {
    if (ended_ || reader_.Remaining() == 0) {
      ended_ = true;
      return {};
    }
    const u8 typeLength = reader_.U8();
    const std::size_t length = typeLength & 0x3F;
    if (typeLength == kEndOfFields && (custom_ || !IsOneCharacter(ByteReader(reader_).Rest()))) {
      ended_ = true;
      return {};
    }
    if (length > reader_.Remaining()) {
      ended_ = true;
      faults_.push_back({std::string("a field of the ") + area_ + " area goes past its end"});
      return {};
    }
    const Bytes bytes = reader_.Bytes(length);
    // An odd number of bytes is not UTF-16, whatever the language says.
    const bool english = english_ || length % 2 != 0;
    return WithoutPlaceholder(DecodeFruText(TextTypeOf(typeLength), bytes, english));
  }

  /// The custom fields.
  std::vector<std::string> Rest() {
    std::vector<std::string> fields;
    custom_ = true;
    while (true) {
      std::string field = Next();
      if (ended_) {
        return fields;
      }
      if (!field.empty()) {
        fields.push_back(std::move(field));
      }
    }
  }

 private:
  ByteReader& reader_;
  bool english_;
  const char* area_;
  Faults& faults_;
  bool ended_ = false;
  bool custom_ = false;  ///< after the fields that the area always has
};

/// An area of a device.
struct Area {
  const char* name;
  std::size_t offset;
  std::size_t beforeFields;  ///< bytes between its length and its first field
};

/// The bytes of an area between its length and its checksum; nothing for an invalid area.
std::optional<Bytes> AreaBody(Bytes image, const Area& place, bool strict, Faults& faults) {
  const auto fault = [&](const char* what, bool losesValues = true) {
    faults.push_back({std::string("the ") + place.name + " area " + what, losesValues});
  };
  if (place.offset + 2 > image.size()) {
    fault("is not within the data");
    return std::nullopt;
  }
  const Bytes rest = image.subspan(place.offset);
  const std::size_t length = rest[1] * kBlock;
  if ((rest[0] & 0x0F) != kFormatVersion || length == 0) {
    fault("has an unknown format");
    return std::nullopt;
  }
  if (length > rest.size()) {
    fault("goes past the end of the data");
    return strict ? std::nullopt : std::optional<Bytes>(rest.subspan(2));
  }
  const Bytes area = rest.first(length);
  const Bytes body = area.subspan(2, length - 3);
  if (SumsToZero(area)) {
    return body;
  }
  const bool unset = area.back() == 0x00 || area.back() == 0xFF;
  const bool usable = !strict && (unset || EndProperly(body.subspan(place.beforeFields)));
  fault(unset ? "has no checksum" : "has a wrong checksum", !unset || !usable);
  return usable ? std::optional<Bytes>(body) : std::nullopt;
}

FruChassis ReadChassis(Bytes body, Faults& faults) {
  ByteReader reader(body);
  FruChassis chassis;
  chassis.type = reader.U8();
  FieldReader fields(reader, true, "chassis", faults);
  chassis.partNumber = fields.Next();
  chassis.serialNumber = fields.Next();
  chassis.custom = fields.Rest();
  return chassis;
}

/// Minutes since 1996-01-01 00:00 UTC.
std::string DateText(u32 minutes) {
  constexpr std::time_t kEpoch = 820454400;
  return minutes == 0 || minutes == 0xFFFFFF ? std::string() : UtcText(kEpoch + static_cast<std::time_t>(minutes) * 60);
}

FruBoard ReadBoard(Bytes body, Faults& faults) {
  ByteReader reader(body);
  const bool english = IsEnglish(reader.U8());
  const u32 minutes = reader.U16();
  FruBoard board;
  board.manufactured = DateText(minutes | static_cast<u32>(reader.U8()) << 16);
  FieldReader fields(reader, english, "board", faults);
  for (std::string* field :
       {&board.manufacturer, &board.productName, &board.serialNumber, &board.partNumber, &board.fileId}) {
    *field = fields.Next();
  }
  board.custom = fields.Rest();
  return board;
}

FruProduct ReadProduct(Bytes body, Faults& faults) {
  ByteReader reader(body);
  FieldReader fields(reader, IsEnglish(reader.U8()), "product", faults);
  FruProduct product;
  for (std::string* field : {&product.manufacturer, &product.productName, &product.partNumber, &product.version,
                             &product.serialNumber, &product.assetTag, &product.fileId}) {
    *field = fields.Next();
  }
  product.custom = fields.Rest();
  return product;
}

void ReadMultiRecord(u8 type, Bytes data, FruMultiRecords& records) {
  constexpr u8 kPowerSupply = 0x00;
  constexpr u8 kManagementAccess = 0x03;
  constexpr u8 kSystemUniqueId = 0x07;
  constexpr std::size_t kGuidSize = 16;
  ByteReader reader(data);
  if (type == kPowerSupply) {
    const u16 watts = reader.U16() & 0x0FFF;
    if (reader.Ok() && watts != 0) {
      records.capacityWatts = watts;
    }
  } else if (type == kManagementAccess && reader.U8() == kSystemUniqueId && reader.Remaining() == kGuidSize) {
    const Bytes guid = reader.Rest();
    records.systemGuid = std::vector<u8>(guid.begin(), guid.end());
  }
}

void ReadMultiRecords(Bytes image, std::size_t offset, FruInventory& fru) {
  for (std::size_t count = 0; count < kMostMultiRecords; ++count) {
    const auto header = ParseMultiRecordHeader(image.subspan(std::min(offset, image.size())));
    if (!header) {
      fru.faults.push_back({"a multirecord's header is cut or has a wrong checksum"});
      return;
    }
    offset += kMultiRecordHeaderSize;
    if (header->length > image.size() - offset) {
      fru.faults.push_back({"a multirecord goes past the end of the data"});
      return;
    }
    const Bytes data = image.subspan(offset, header->length);
    if (static_cast<u8>(std::accumulate(data.begin(), data.end(), unsigned{header->checksum})) == 0) {
      ReadMultiRecord(header->type, data, fru.records);
    } else {
      fru.faults.push_back({"a multirecord has a wrong checksum"});
    }
    if (header->last) {
      return;
    }
    offset += header->length;
  }
}

}  // namespace

std::optional<FruHeader> ParseFruHeader(Bytes bytes) noexcept {
  if (bytes.size() < kFruHeaderSize || (bytes[0] & 0x0F) != kFormatVersion) {
    return std::nullopt;
  }
  return FruHeader{bytes[2] * kBlock, bytes[3] * kBlock, bytes[4] * kBlock, bytes[5] * kBlock,
                   SumsToZero(bytes.first(kFruHeaderSize))};
}

std::optional<MultiRecordHeader> ParseMultiRecordHeader(Bytes bytes) noexcept {
  if (bytes.size() < kMultiRecordHeaderSize || !SumsToZero(bytes.first(kMultiRecordHeaderSize))) {
    return std::nullopt;
  }
  return MultiRecordHeader{bytes[0], (bytes[1] & 0x80) != 0, bytes[2], bytes[3]};
}

FruInventory ParseFru(Bytes bytes) {
  FruInventory fru;
  const auto header = ParseFruHeader(bytes);
  if (!header) {
    fru.faults.push_back({"the common header is cut or has an unknown format"});
    return fru;
  }
  fru.headerHolds = header->checksumHolds;
  if (!header->checksumHolds) {
    fru.faults.push_back({"the common header has a wrong checksum", false});
  }
  const auto body = [&](const Area& area) -> std::optional<Bytes> {
    return area.offset == 0 ? std::nullopt : AreaBody(bytes, area, !header->checksumHolds, fru.faults);
  };
  if (const auto area = body({"chassis", header->chassis, 1})) {
    fru.chassis = ReadChassis(*area, fru.faults);
  }
  if (const auto area = body({"board", header->board, 4})) {
    fru.board = ReadBoard(*area, fru.faults);
  }
  if (const auto area = body({"product", header->product, 1})) {
    fru.product = ReadProduct(*area, fru.faults);
  }
  if (header->multiRecords != 0) {
    ReadMultiRecords(bytes, header->multiRecords, fru);
  }
  return fru;
}

}  // namespace Kelvar::Reader::Ipmi
