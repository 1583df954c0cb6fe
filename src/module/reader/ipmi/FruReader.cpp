#include "module/reader/ipmi/FruReader.h"

#include <algorithm>
#include <array>

#include "common/text/ByteReader.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u8 kStorage = 0x0A;
constexpr u8 kGetFruArea = 0x10;
constexpr u8 kReadFru = 0x11;
constexpr std::size_t kBlock = 8;

bool IsBlank(const std::vector<u8>& bytes) {
  const auto all = [&bytes](u8 value) {
    return std::all_of(bytes.begin(), bytes.end(), [value](u8 byte) { return byte == value; });
  };
  return all(0x00) || all(0xFF);
}

}  // namespace

std::vector<u8> FruReader::Read(u8 device) {
  if (!Open(device) || !LoadUpTo(kFruHeaderSize)) {
    return std::move(bytes_);
  }
  const auto header = ParseFruHeader(bytes_);
  if (!header) {
    return std::move(bytes_);
  }
  std::array<std::size_t, 3> areas = {header->chassis, header->board, header->product};
  std::sort(areas.begin(), areas.end());
  for (const std::size_t offset : areas) {
    if (offset != 0 && LoadUpTo(offset + 2) && offset + 2 <= bytes_.size()) {
      LoadUpTo(offset + bytes_[offset + 1] * kBlock);
    }
  }
  if (header->multiRecords != 0) {
    LoadMultiRecords(header->multiRecords);
  }
  return std::move(bytes_);
}

bool FruReader::Open(u8 device) {
  bytes_.clear();
  device_ = device;
  reply_ = commands_.Run(kStorage, kGetFruArea, {device});
  if (!reply_.Ok()) {
    return false;
  }
  Text::ByteReader reader(reply_.data);
  size_ = reader.U16();
  words_ = (reader.U8() & 0x01) != 0;
  if (!reader.Ok()) {
    reply_.outcome = Outcome::Failed;
  }
  return reader.Ok();
}

void FruReader::LoadMultiRecords(std::size_t offset) {
  for (std::size_t count = 0; count < kMostMultiRecords; ++count) {
    if (!LoadUpTo(offset + kMultiRecordHeaderSize) || offset > bytes_.size()) {
      return;
    }
    const auto header = ParseMultiRecordHeader(std::span(bytes_).subspan(offset));
    if (!header) {
      return;
    }
    offset += kMultiRecordHeaderSize + header->length;
    if (!LoadUpTo(offset) || header->last) {
      return;
    }
  }
}

/// True also at the end of the device.
bool FruReader::LoadUpTo(std::size_t end) {
  while (bytes_.size() < std::min(end, size_)) {
    if (!LoadPiece()) {
      return false;
    }
  }
  return true;
}

bool FruReader::LoadPiece() {
  const std::size_t unit = words_ ? 2 : 1;
  const std::size_t offset = bytes_.size() / unit;
  const std::size_t left = (size_ - bytes_.size() + unit - 1) / unit;
  const std::size_t count = std::min(left, std::max<std::size_t>(1, block_ / unit));
  reply_ = commands_.Run(kStorage, kReadFru,
                         {device_, static_cast<u8>(offset), static_cast<u8>(offset >> 8), static_cast<u8>(count)});
  const bool tooLarge = reply_.outcome == Outcome::LengthRefused || reply_.outcome == Outcome::Silent;
  if (tooLarge && Shrink()) {
    return true;  // with nothing loaded yet
  }
  if (reply_.outcome == Outcome::NotPresent && !bytes_.empty()) {
    size_ = bytes_.size();  // the device ends before the size that it told
    reply_.outcome = Outcome::Done;
    return true;
  }
  if (!reply_.Ok()) {
    return false;
  }
  Text::ByteReader reader(reply_.data);
  reader.Skip(1);  // count, which the data tell too
  auto piece = reader.Rest();
  piece = piece.first(std::min(piece.size(), count * unit) / unit * unit);
  if (piece.empty()) {
    reply_.outcome = Outcome::Failed;
    return false;
  }
  bytes_.insert(bytes_.end(), piece.begin(), piece.end());
  return true;
}

bool FruReader::Shrink() {
  static constexpr std::array<std::size_t, 4> kSizes = {32, 22, 16, 8};
  const auto* smaller = std::find_if(kSizes.begin(), kSizes.end(), [this](std::size_t size) { return size < block_; });
  if (smaller == kSizes.end()) {
    return false;
  }
  block_ = *smaller;
  return true;
}

FruInventory ReadFru(FruReader& reader, u8 device, std::string_view what, FamilyProgress& progress,
                     std::string& state) {
  const std::vector<u8> bytes = reader.Read(device);
  const CommandReply& reply = reader.LastReply();
  if (!reply.Ok() && !reply.IsAbsent()) {
    progress.Miss(reply, what);
  }
  if (bytes.empty() && reply.outcome == Outcome::NotPresent) {
    state = "absent";
  }
  if (bytes.empty() || IsBlank(bytes)) {
    return {};
  }
  FruInventory fru = ParseFru(bytes);
  for (const FruFault& fault : fru.faults) {
    if (fault.losesValues && !fru.IsEmpty()) {
      progress.Miss(GapKind::Unusable, FailureCause::BadData, what, fault.text);
    } else {
      FamilyProgress::Note(what, fault.text);
    }
  }
  return fru;
}

const FruInventory& OwnFru(ReadingContext& context, FamilyProgress& progress) {
  if (!context.ownFru) {
    FruReader reader(context.commands);
    std::string state;
    context.ownFru = ReadFru(reader, 0, "FRU device 0", progress, state);
  }
  return *context.ownFru;
}

}  // namespace Kelvar::Reader::Ipmi
