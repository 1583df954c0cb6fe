#include "simulator/ipmi/FruImage.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

#include "simulator/machine/JsonFile.h"

namespace Kelvar::Simulator {

namespace {

using rapidjson::Value;

constexpr std::size_t kBlockSize = 8;
constexpr u8 kFormatVersion = 1;
constexpr u8 kEndOfFields = 0xC1;

u8 ZeroSum(const Bytes& bytes) {
  return static_cast<u8>(-std::accumulate(bytes.begin(), bytes.end(), 0));
}

u8 BcdPlus(char character) {
  static const std::string kAlphabet = "0123456789 -.";
  const std::size_t value = kAlphabet.find(character);
  if (value == std::string::npos) {
    throw std::runtime_error(std::string("no BCD plus character: ") + character);
  }
  return static_cast<u8>(value);
}

Bytes PackBcdPlus(const std::string& text) {
  Bytes bytes;
  for (std::size_t at = 0; at < text.size(); at += 2) {
    const u8 second = at + 1 < text.size() ? BcdPlus(text[at + 1]) : BcdPlus(' ');
    bytes.push_back(static_cast<u8>((BcdPlus(text[at]) << 4) | second));
  }
  return bytes;
}

/// Six bits a character, the first one in the lowest bits.
Bytes PackSixBit(const std::string& text) {
  Bytes bytes;
  unsigned pending = 0;
  unsigned bits = 0;
  for (const char character : text) {
    if (character < ' ' || character > '_') {
      throw std::runtime_error("no 6-bit text: " + text);
    }
    pending |= static_cast<unsigned>(character - ' ') << bits;
    for (bits += 6; bits >= 8; bits -= 8) {
      bytes.push_back(static_cast<u8>(pending));
      pending >>= 8;
    }
  }
  if (bits > 0) {
    bytes.push_back(static_cast<u8>(pending));
  }
  return bytes;
}

struct Field {
  u8 type = 3;  ///< 0 binary, 1 BCD plus, 2 6-bit ASCII, 3 8-bit ASCII
  Bytes bytes;
};

Field FieldOf(const Value& value) {
  if (value.IsString()) {
    const std::string text(value.GetString(), value.GetStringLength());
    return {3, Bytes(text.begin(), text.end())};
  }
  if (Json::Find(value, "bytes") != nullptr) {
    return {0, BytesOf(Json::Text(value, "bytes"))};
  }
  if (Json::Find(value, "wide") != nullptr) {
    return {3, BytesOf(Json::Text(value, "wide"))};
  }
  const std::string text = Json::Text(value, "text");
  const std::string type = Json::Text(value, "type", "ascii");
  if (type == "bcd") {
    return {1, PackBcdPlus(text)};
  }
  if (type == "6bit") {
    return {2, PackSixBit(text)};
  }
  Field field{3, Bytes(text.begin(), text.end())};
  field.bytes.resize(std::max<std::size_t>(field.bytes.size(), Json::Number(value, "width", 0)));
  return field;
}

Bytes AreaOf(const Value& area) {
  constexpr std::size_t kLongestField = 63;
  Bytes bytes{kFormatVersion, 0};
  const Bytes lead = BytesOf(Json::Text(area, "lead"));
  bytes.insert(bytes.end(), lead.begin(), lead.end());
  for (const auto& entry : Json::List(area, "fields")) {
    const Field field = FieldOf(entry);
    if (field.bytes.size() > kLongestField) {
      throw std::runtime_error("a FRU field of more than 63 bytes");
    }
    bytes.push_back(static_cast<u8>((field.type << 6) | field.bytes.size()));
    bytes.insert(bytes.end(), field.bytes.begin(), field.bytes.end());
  }
  bytes.push_back(kEndOfFields);
  const std::size_t blocks = bytes.size() / kBlockSize + 1;  // with room for the checksum
  bytes.resize(blocks * kBlockSize - 1);
  bytes[1] = static_cast<u8>(blocks);
  bytes.push_back(ZeroSum(bytes));
  return bytes;
}

void Overlay(Bytes& image, const Value& device) {
  for (const auto& entry : Json::List(device, "overlay")) {
    const Bytes bytes = BytesOf(Json::Text(entry, "bytes"));
    const std::size_t at = Json::Number(entry, "at");
    if (at + bytes.size() > image.size()) {
      throw std::runtime_error("an overlay past the end of its FRU device");
    }
    std::copy(bytes.begin(), bytes.end(), image.begin() + static_cast<std::ptrdiff_t>(at));
  }
}

}  // namespace

namespace {

/// Multirecords one after the other, each with its header; the last one is marked.
Bytes MultiRecords(const Value& device) {
  constexpr u8 kRecordVersion = 2;
  constexpr u8 kEndOfList = 0x80;
  Bytes all;
  const auto records = Json::List(device, "records");
  for (rapidjson::SizeType index = 0; index < records.Size(); ++index) {
    const Bytes data = BytesOf(Json::Text(records[index], "bytes"));
    const u8 last = index + 1 == records.Size() ? kEndOfList : u8{0};
    Bytes header{static_cast<u8>(Json::Number(records[index], "type")), static_cast<u8>(last | kRecordVersion),
                 static_cast<u8>(data.size()), ZeroSum(data)};
    header.push_back(ZeroSum(header));
    all.insert(all.end(), header.begin(), header.end());
    all.insert(all.end(), data.begin(), data.end());
  }
  return all;
}

}  // namespace

Bytes FruImage(const Value& device) {
  constexpr const char* kAreas[] = {"chassis", "board", "product"};  // in the order of their header bytes 2, 3, 4
  Bytes image(kBlockSize);
  bool any = false;
  for (std::size_t i = 0; i < std::size(kAreas); ++i) {
    if (const Value* area = Json::Find(device, kAreas[i])) {
      image[i + 2] = static_cast<u8>(image.size() / kBlockSize);
      const Bytes bytes = AreaOf(*area);
      image.insert(image.end(), bytes.begin(), bytes.end());
      any = true;
    }
  }
  if (const Bytes records = MultiRecords(device); !records.empty()) {
    image[5] = static_cast<u8>(image.size() / kBlockSize);
    image.insert(image.end(), records.begin(), records.end());
    any = true;
  }
  if (any) {
    image[0] = kFormatVersion;
    image[kBlockSize - 1] = ZeroSum({image.begin(), image.begin() + kBlockSize - 1});
  }
  const std::size_t size = Json::Number(device, "size");
  if (size < image.size() && any) {
    throw std::runtime_error("a FRU device too small for its areas");
  }
  image.resize(size);
  Overlay(image, device);
  return image;
}

}  // namespace Kelvar::Simulator
