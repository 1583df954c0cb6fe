#include "ReplyRepair.h"

#include <strings.h>

#include <algorithm>
#include <utility>

namespace Pegasus::Detail {

namespace {

/// Longer than any XML declaration.
constexpr std::size_t kHeadBytes = 256;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool IsPlain(char c) noexcept {
  const auto byte = static_cast<unsigned char>(c);
  return (byte >= ' ' && byte < 0x80) || c == '\n' || c == '\r' || c == '\t';
}

unsigned char ByteAt(std::string_view bytes, std::size_t index) noexcept {
  return static_cast<unsigned char>(bytes[index]);
}

/// Bytes of the sequence that starts with `lead`; 0 when none does.
std::size_t SequenceSize(unsigned char lead) noexcept {
  if (lead >= 0xC2 && lead <= 0xDF) {
    return 2;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    return 3;
  }
  return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

/// Whether the bytes that are there can be the start of a character that XML has.
bool CanContinue(std::string_view bytes) noexcept {
  for (std::size_t i = 1; i < bytes.size(); ++i) {
    if ((ByteAt(bytes, i) & 0xC0) != 0x80) {
      return false;
    }
  }
  if (bytes.size() < 2) {
    return true;
  }
  const unsigned char second = ByteAt(bytes, 1);
  switch (ByteAt(bytes, 0)) {
    case 0xE0:
      return second >= 0xA0;
    case 0xED:
      return second < 0xA0;
    case 0xEF:
      return bytes.size() < 3 || second != 0xBF || ByteAt(bytes, 2) < 0xBE;
    case 0xF0:
      return second >= 0x90;
    case 0xF4:
      return second < 0x90;
    default:
      return true;
  }
}

/// Whether the XML declaration names another encoding, or the first bytes are those of UTF-16.
bool IsForeign(std::string_view head) noexcept {
  if (head.substr(0, 1) == "\xFE" || head.substr(0, 1) == "\xFF" || head.substr(0, 2).find('\0') != head.npos) {
    return true;
  }
  head = head.substr(0, head.find('>'));
  const std::size_t encoding = head.starts_with("<?xml") ? head.find("encoding") : head.npos;
  const std::size_t quote = head.find_first_of("'\"", encoding);
  if (encoding == head.npos || quote == head.npos) {
    return false;
  }
  const std::string_view name = head.substr(quote + 1);
  return !(name.size() >= 5 && strncasecmp(name.data(), "utf-8", 5) == 0);
}

}  // namespace

bool ReplyRepair::DecideEncoding(bool last) {
  if (!decided_ && (last || waiting_.size() >= kHeadBytes || waiting_.find('>') != std::string::npos)) {
    isUtf8_ = !IsForeign(waiting_);
    decided_ = true;
  }
  return decided_;
}

std::string_view ReplyRepair::Take(std::string_view bytes) {
  if (decided_ && waiting_.empty() && (!isUtf8_ || std::all_of(bytes.begin(), bytes.end(), IsPlain))) {
    return bytes;
  }
  repaired_.clear();
  waiting_ += bytes;
  if (DecideEncoding(false)) {
    Repair(std::exchange(waiting_, {}), false);
  }
  return repaired_;
}

std::string_view ReplyRepair::Finish() {
  repaired_.clear();
  DecideEncoding(true);
  Repair(std::exchange(waiting_, {}), true);
  return repaired_;
}

void ReplyRepair::Repair(std::string_view bytes, bool last) {
  if (!isUtf8_) {
    repaired_ += bytes;
    return;
  }
  while (!bytes.empty()) {
    const std::size_t plain =
        static_cast<std::size_t>(std::find_if_not(bytes.begin(), bytes.end(), IsPlain) - bytes.begin());
    repaired_ += bytes.substr(0, plain);
    bytes.remove_prefix(plain);
    if (bytes.empty()) {
      return;
    }
    const std::size_t size = SequenceSize(ByteAt(bytes, 0));
    const std::string_view sequence = bytes.substr(0, size);
    if (size == 0 || !CanContinue(sequence) || (sequence.size() < size && last)) {
      repaired_ += kReplacement;
      bytes.remove_prefix(1);
    } else if (sequence.size() < size) {
      waiting_ = sequence;
      return;
    } else {
      repaired_ += sequence;
      bytes.remove_prefix(size);
    }
  }
}

}  // namespace Pegasus::Detail
