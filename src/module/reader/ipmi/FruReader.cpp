#include "module/reader/ipmi/FruReader.h"

#include <algorithm>
#include <array>

#include "common/text/ByteReader.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr std::size_t kBlock = 8;
constexpr std::size_t kEepromSize = 256;
constexpr std::size_t kSafePiece = 16;  ///< what every target gives in one piece

bool IsBlank(const std::vector<u8>& bytes) {
  const auto all = [&bytes](u8 value) {
    return std::all_of(bytes.begin(), bytes.end(), [value](u8 byte) { return byte == value; });
  };
  return all(0x00) || all(0xFF);
}

}  // namespace

FruPlace PlaceOf(const FruLocator& locator) {
  constexpr u8 kPrivate = 0x01;
  const bool direct = locator.accessAddress == 0;  // on the bus itself, without a controller
  FruPlace place;
  place.device = locator.fruId;
  place.at.lun = locator.lun;
  if (!direct && locator.accessAddress != Kelvar::Ipmi::kServiceProcessor) {
    place.at = {locator.accessAddress, locator.channel, locator.lun};
  }
  if (!locator.logical) {
    place.device &= 0xFE;
    place.bus = static_cast<u8>(direct ? locator.channel << 4 : locator.bus << 1 | kPrivate);
  }
  return place;
}

std::vector<u8> FruReader::Read(const FruPlace& place) {
  if (!Open(place) || !LoadUpTo(kFruHeaderSize)) {
    return std::move(bytes_);
  }
  const auto header = ParseFruHeader(bytes_);
  if (!header || (place.bus && !header->checksumHolds)) {
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

bool FruReader::Open(const FruPlace& place) {
  bytes_.clear();
  place_ = place;
  if (place.bus) {
    size_ = kEepromSize;
    words_ = false;
    return true;
  }
  reply_ = commands_.Run(place.at, kNetFnStorage, kGetFruAreaInfo, {place.device});
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
  const std::size_t count = std::min(left, std::max<std::size_t>(1, Block() / unit));
  reply_ = place_.bus ? AskEeprom(offset, count) : Ask(offset, count);
  const bool dropped = reply_.outcome == Outcome::Silent && block_ > kSafePiece;
  if (dropped || (reply_.outcome == Outcome::LengthRefused && Shrink())) {
    block_ = dropped ? kSafePiece : block_;
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
  std::span<const u8> piece = reply_.data;
  piece = piece.first(std::min(piece.size(), count * unit) / unit * unit);
  if (piece.empty()) {
    reply_.outcome = Outcome::Failed;
    return false;
  }
  bytes_.insert(bytes_.end(), piece.begin(), piece.end());
  return true;
}

std::size_t FruReader::Block() const {
  constexpr std::size_t kOfMasterRead = 32;  // every controller gives 34 bytes
  const std::size_t block = place_.bus ? std::min(block_, kOfMasterRead) : block_;
  const bool isHeader = place_.bus && bytes_.size() < kFruHeaderSize;
  return isHeader ? kFruHeaderSize : place_.at.IsBridged() ? std::min(block, kSafePiece) : block;
}

CommandReply FruReader::Ask(std::size_t offset, std::size_t count) {
  CommandReply reply =
      commands_.Run(place_.at, kNetFnStorage, kReadFruData,
                    {place_.device, static_cast<u8>(offset), static_cast<u8>(offset >> 8), static_cast<u8>(count)});
  if (!reply.data.empty()) {
    reply.data.erase(reply.data.begin());  // count, which the data tell too
  }
  return reply;
}

CommandReply FruReader::AskEeprom(std::size_t offset, std::size_t count) {
  CommandReply reply = commands_.Run(place_.at, kNetFnApplication, kMasterWriteRead,
                                     {*place_.bus, place_.device, static_cast<u8>(count), static_cast<u8>(offset)});
  if (reply.outcome == Outcome::Failed && reply.completionCode == kCodeNoSuchDevice) {
    reply.outcome = Outcome::NotPresent;
  }
  return reply;
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

FruInventory ReadFru(FruReader& reader, const FruPlace& place, std::string_view what, FamilyProgress& progress,
                     std::string& state) {
  const std::vector<u8> bytes = reader.Read(place);
  const CommandReply& reply = reader.LastReply();
  const bool unreadable = place.bus && reply.outcome == Outcome::NotOffered;
  if (unreadable || (!reply.Ok() && !reply.IsAbsent())) {
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
    if (fault.losesValues && (fru.headerHolds || !fru.IsEmpty())) {
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
    context.ownFru = ReadFru(reader, {}, "FRU device 0", context.ownFruProgress, state);
  }
  progress.Inherit(context.ownFruProgress);
  return *context.ownFru;
}

}  // namespace Kelvar::Reader::Ipmi
