#include "module/reader/ipmi/RecordReader.h"

#include <algorithm>
#include <array>

#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr std::size_t kWholeRecord = 0xFF;
constexpr std::size_t kLargestPiece = 32;
constexpr std::size_t kSafePiece = 16;          ///< what every target gives in one piece
constexpr unsigned kMostLostReservations = 64;  ///< in a row

}  // namespace

std::optional<RecordReader::Record> RecordReader::Read(u16 id) {
  if (!reservation_ && !Reserve()) {
    return std::nullopt;
  }
  const std::size_t before = block_;
  auto record = ReadInBlocks(id);
  if (!record && MayBeTooLong()) {
    CommandReply refusal = reply_;
    block_ = reply_.outcome == Outcome::Silent ? kSafePiece : kLargestPiece;
    record = ReadInBlocks(id);
    if (!record) {
      reply_ = std::move(refusal);
    }
  }
  block_ = record ? block_ : before;  // what is wrong with this one says nothing of the others
  return record;
}

/// Some targets drop a whole record that does not fit, or refuse it without saying why.
bool RecordReader::MayBeTooLong() const {
  constexpr std::array<u8, 3> kUnspecific = {0xFF, 0xC9, 0xCC};
  const bool refused =
      std::find(kUnspecific.begin(), kUnspecific.end(), reply_.completionCode) != kUnspecific.end() && !reply_.Ok();
  return block_ == kWholeRecord && (reply_.outcome == Outcome::Silent || refused);
}

std::optional<RecordReader::Record> RecordReader::ReadInBlocks(u16 id) {
  Record record;
  bool headerFirst = false;
  std::size_t size = kHeaderSize;
  while (record.bytes.size() < size) {
    const std::size_t wanted = headerFirst || !record.bytes.empty() ? size - record.bytes.size() : block_;
    if (ReadPiece(id, std::min(wanted, block_), record)) {
      size = record.bytes.size() < kHeaderSize ? kHeaderSize : kHeaderSize + record.bytes[kHeaderSize - 1];
      continue;
    }
    if (IsEndOf(record)) {
      return record;
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

/// The record is shorter than its header tells.
bool RecordReader::IsEndOf(const Record& record) const {
  constexpr u8 kOffsetOutOfRange = 0xC9;
  const bool end = reply_.completionCode == kOffsetOutOfRange || reply_.completionCode == 0;
  return end && record.bytes.size() > kHeaderSize;
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
  const u16 next = reader.U16();
  const auto piece = reader.Rest();
  if (piece.empty()) {
    reply_.outcome = Outcome::Failed;
    return false;
  }
  record.next = next;
  lost_ = 0;
  const std::size_t taken = count == kWholeRecord ? piece.size() : std::min(piece.size(), count);
  record.bytes.insert(record.bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(taken));
  return true;
}

std::vector<u8> RecordReader::RequestFor(u16 id, std::size_t offset, std::size_t count) const {
  const u16 reservation = reservation_.value_or(0);
  return {static_cast<u8>(reservation), static_cast<u8>(reservation >> 8), static_cast<u8>(id),
          static_cast<u8>(id >> 8),     static_cast<u8>(offset),           static_cast<u8>(count)};
}

CommandReply RecordReader::Ask(u16 id, std::size_t offset, std::size_t count) {
  return commands_.Run(repository_.at, repository_.netFn, repository_.get, RequestFor(id, offset, count));
}

void RecordReader::Prefetch(const std::vector<u16>& ids) {
  if (!repository_.at.IsPlain() || !reservation_ || ids.empty()) {
    return;
  }
  commands_.Prefetch(repository_.netFn, repository_.get, {});  // forgets what was not used
  std::map<u16, std::vector<u8>> records;
  for (const u16 id : ids) {
    records[id];
  }
  while (PrefetchPieces(records)) {
  }
}

bool RecordReader::PrefetchPieces(std::map<u16, std::vector<u8>>& records) {
  std::vector<std::vector<u8>> requests;
  for (const auto& [id, bytes] : records) {
    const std::size_t size = bytes.size() < kHeaderSize ? block_ : kHeaderSize + bytes[kHeaderSize - 1];
    if (bytes.size() < size) {
      requests.push_back(RequestFor(id, bytes.size(), bytes.empty() ? block_ : std::min(size - bytes.size(), block_)));
    }
  }
  const auto replies = commands_.PrefetchMore(repository_.netFn, repository_.get, requests);
  bool more = false;
  for (std::size_t at = 0; at < replies.size(); ++at) {
    const std::vector<u8>& request = requests[at];
    const auto id = static_cast<u16>(request[2] | request[3] << 8);
    Text::ByteReader reader(replies[at] != nullptr ? std::span<const u8>(replies[at]->data) : std::span<const u8>());
    reader.Skip(sizeof(u16));
    const auto piece = reader.Rest();
    if (piece.size() < (request[4] == 0 ? kHeaderSize : 1)) {
      records.erase(id);
      continue;
    }
    records[id].insert(records[id].end(), piece.begin(), piece.end());
    more = true;
  }
  return more;
}

bool RecordReader::Reserve() {
  const bool first = !reservation_;
  lost_ += first ? 0 : 1;
  CommandReply reply = commands_.Run(repository_.at, repository_.netFn, repository_.reserve);
  Text::ByteReader reader(reply.data);
  const u16 reservation = reader.U16();
  if (reply.Ok() && reader.Ok()) {
    reservation_ = reservation;
    return true;
  }
  if (reply.IsAbsent() || (first && !reply.IsUnsent())) {
    reservation_ = 0;  // a target without reservations takes this one, and others do for whole records
    return true;
  }
  reply_ = std::move(reply);
  return false;
}

bool RecordReader::Shrink() {
  static constexpr std::array<std::size_t, 5> kSizes = {kLargestPiece, 22, 16, 8, 5};
  const auto* smaller = std::find_if(kSizes.begin(), kSizes.end(), [this](std::size_t size) { return size < block_; });
  if (smaller == kSizes.end()) {
    return false;
  }
  block_ = *smaller;
  KELVAR_LOG(3) << "IPMI reading: records are read in pieces of " << block_ << " bytes";
  return true;
}

}  // namespace Kelvar::Reader::Ipmi
