#include "module/reader/ipmi/RecordReader.h"

#include <algorithm>
#include <array>

#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr std::size_t kWholeRecord = 0xFF;
constexpr unsigned kMostLostReservations = 64;

}  // namespace

std::optional<RecordReader::Record> RecordReader::Read(u16 id) {
  if (!reservation_ && !Reserve()) {
    return std::nullopt;
  }
  Record record;
  bool headerFirst = false;
  std::size_t size = kHeaderSize;
  while (record.bytes.size() < size) {
    const std::size_t wanted = headerFirst || !record.bytes.empty() ? size - record.bytes.size() : block_;
    if (ReadPiece(id, std::min(wanted, block_), record)) {
      size = record.bytes.size() < kHeaderSize ? kHeaderSize : kHeaderSize + record.bytes[kHeaderSize - 1];
      continue;
    }
    if (reply_.outcome != Outcome::LengthRefused) {
      return std::nullopt;
    }
    // Small blocks may pass the end of a short record, which some targets refuse as well.
    if (record.bytes.empty() && !headerFirst && block_ != kWholeRecord) {
      headerFirst = true;
    } else if (!Shrink()) {
      return std::nullopt;
    }
  }
  record.bytes.resize(size);
  return record;
}

bool RecordReader::ReadPiece(u16 id, std::size_t count, Record& record) {
  reply_ = Ask(id, record.bytes.size(), count);
  while (reply_.outcome == Outcome::ReservationLost && lost_ < kMostLostReservations && Reserve()) {
    reply_ = Ask(id, record.bytes.size(), count);
  }
  if (!reply_.Ok()) {
    return false;
  }
  Text::ByteReader reader(reply_.data);
  record.next = reader.U16();
  const auto piece = reader.Rest();
  if (piece.empty()) {
    reply_.outcome = Outcome::Failed;
    return false;
  }
  const std::size_t taken = count == kWholeRecord ? piece.size() : std::min(piece.size(), count);
  record.bytes.insert(record.bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(taken));
  return true;
}

CommandReply RecordReader::Ask(u16 id, std::size_t offset, std::size_t count) {
  const u16 reservation = reservation_.value_or(0);
  return commands_.Run(repository_.netFn, repository_.get,
                       {static_cast<u8>(reservation), static_cast<u8>(reservation >> 8), static_cast<u8>(id),
                        static_cast<u8>(id >> 8), static_cast<u8>(offset), static_cast<u8>(count)});
}

bool RecordReader::Reserve() {
  lost_ += reservation_ ? 1U : 0U;
  CommandReply reply = commands_.Run(repository_.netFn, repository_.reserve);
  Text::ByteReader reader(reply.data);
  const u16 reservation = reader.U16();
  if (reply.Ok() && reader.Ok()) {
    reservation_ = reservation;
    return true;
  }
  if (reply.IsAbsent()) {
    reservation_ = 0;  // a target without reservations takes this one
    return true;
  }
  reply_ = std::move(reply);
  return false;
}

bool RecordReader::Shrink() {
  static constexpr std::array<std::size_t, 5> kSizes = {32, 22, 16, 8, 5};
  const auto* smaller = std::find_if(kSizes.begin(), kSizes.end(), [this](std::size_t size) { return size < block_; });
  if (smaller == kSizes.end()) {
    return false;
  }
  block_ = *smaller;
  KELVAR_LOG(3) << "IPMI reading: records are read in pieces of " << block_ << " bytes";
  return true;
}

}  // namespace Kelvar::Reader::Ipmi
