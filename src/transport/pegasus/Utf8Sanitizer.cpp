#include "transport/pegasus/Utf8Sanitizer.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <utility>

namespace Pegasus::Detail {

namespace {

/// Longer than any XML declaration.
constexpr std::size_t kHeadBytes = 256;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

constexpr std::string_view kCdataStart = "<![CDATA[";
constexpr std::string_view kCdataEnd = "]]>";

/// By byte, whether it needs no look: neither odd nor the start of a reference or of a section.
constexpr auto kPlain = [] {
  std::array<bool, 256> plain{};
  for (unsigned char byte = ' '; byte < 0x80; ++byte) {
    plain[byte] = byte != '&' && byte != '<' && byte != ']';
  }
  plain['\n'] = plain['\r'] = plain['\t'] = true;
  return plain;
}();

bool IsPlain(char c) noexcept {
  return kPlain[static_cast<unsigned char>(c)];
}

/// Whether the parser takes the bytes as they are, and a section neither starts nor ends in them.
bool IsHarmless(std::string_view bytes) noexcept {
  const bool isPlain =
      std::all_of(bytes.begin(), bytes.end(), [](char c) { return IsPlain(c) || c == '<' || c == ']'; });
  return isPlain && !bytes.ends_with('<') && bytes.find("<!") == bytes.npos;
}

bool IsXmlCharacter(unsigned long number) noexcept {
  return number == '\t' || number == '\n' || number == '\r' || (number >= 0x20 && number < 0xD800) ||
         (number >= 0xE000 && number < 0xFFFE) || (number >= 0x10000 && number < 0x110000);
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

bool Utf8Sanitizer::DecideEncoding(bool last) {
  if (!decided_ && (last || waiting_.size() >= kHeadBytes || waiting_.find('>') != std::string::npos)) {
    isUtf8_ = !IsForeign(waiting_);
    decided_ = true;
  }
  return decided_;
}

std::string_view Utf8Sanitizer::Take(std::string_view bytes) {
  if (decided_ && waiting_.empty() && !inCdata_ && (!isUtf8_ || IsHarmless(bytes))) {
    return bytes;
  }
  repaired_.clear();
  waiting_ += bytes;
  if (DecideEncoding(false)) {
    Repair(std::exchange(waiting_, {}), false);
  }
  return repaired_;
}

std::string_view Utf8Sanitizer::Finish() {
  repaired_.clear();
  DecideEncoding(true);
  Repair(std::exchange(waiting_, {}), true);
  return repaired_;
}

void Utf8Sanitizer::Repair(std::string_view bytes, bool last) {
  if (!isUtf8_) {
    repaired_ += bytes;
    return;
  }
  while (!bytes.empty()) {
    const std::size_t plain = PlainBytes(bytes);
    repaired_ += bytes.substr(0, plain);
    bytes.remove_prefix(plain);
    if (bytes.empty()) {
      return;
    }
    const std::size_t taken = RepairOne(bytes, last);
    if (taken == 0) {
      waiting_ = bytes;
      return;
    }
    bytes.remove_prefix(taken);
  }
}

std::size_t Utf8Sanitizer::PlainBytes(std::string_view bytes) const noexcept {
  std::size_t i = 0;
  for (; i < bytes.size(); ++i) {
    const bool starts = bytes[i] == '<' && (i + 1 == bytes.size() || bytes[i + 1] == '!');
    const bool isMark = bytes[i] == '<' || bytes[i] == ']';
    if (!IsPlain(bytes[i]) && (inCdata_ || starts || !isMark)) {
      break;
    }
  }
  return i;
}

std::size_t Utf8Sanitizer::RepairOne(std::string_view bytes, bool last) {
  switch (bytes.front()) {
    case '<':
      return TakeMark(bytes, inCdata_ ? std::string_view("<") : kCdataStart, true, last);
    case ']':
      return TakeMark(bytes, inCdata_ ? kCdataEnd : std::string_view("]"), false, last);
    case '&':
      return TakeReference(bytes, last);
    default:
      return TakeOddByte(bytes, last);
  }
}

std::size_t Utf8Sanitizer::TakeMark(std::string_view bytes, std::string_view mark, bool opensCdata, bool last) {
  if (bytes.size() < mark.size() && mark.starts_with(bytes) && !last) {
    return 0;
  }
  const bool isMark = bytes.starts_with(mark);
  if (isMark && mark.size() > 1) {
    inCdata_ = opensCdata;
  }
  const std::size_t size = isMark ? mark.size() : 1;
  repaired_ += bytes.substr(0, size);
  return size;
}

std::size_t Utf8Sanitizer::TakeReference(std::string_view bytes, bool last) {
  constexpr std::size_t kMaxBytes = 16;
  const std::size_t end = bytes.substr(0, kMaxBytes).find(';');
  if (inCdata_ || (bytes.size() > 1 && bytes[1] != '#') || (end == bytes.npos && (last || bytes.size() >= kMaxBytes))) {
    repaired_ += '&';
    return 1;
  }
  if (end == bytes.npos) {
    return 0;
  }
  const bool isHex = bytes.substr(2, 1) == "x";
  const std::string digits(bytes.substr(isHex ? 3 : 2, end - (isHex ? 3 : 2)));
  char* after = nullptr;
  const unsigned long number = std::strtoul(digits.c_str(), &after, isHex ? 16 : 10);
  const bool isNumber = !digits.empty() && std::isxdigit(static_cast<unsigned char>(digits.front())) != 0 &&
                        after == digits.c_str() + digits.size();
  if (!isNumber || IsXmlCharacter(number)) {
    repaired_ += bytes.substr(0, end + 1);
  } else {
    AppendOdd(number);
  }
  return end + 1;
}

std::size_t Utf8Sanitizer::TakeOddByte(std::string_view bytes, bool last) {
  const std::size_t size = SequenceSize(ByteAt(bytes, 0));
  const std::string_view sequence = bytes.substr(0, size);
  if (size == 0 || !CanContinue(sequence) || (sequence.size() < size && last)) {
    AppendOdd(ByteAt(bytes, 0));
    return 1;
  }
  if (sequence.size() < size) {
    return 0;
  }
  repaired_ += sequence;
  return size;
}

void Utf8Sanitizer::AppendOdd(unsigned long number) {
  if (number == 0 || number >= 0x20) {
    repaired_ += kReplacement;
  } else {
    repaired_.append(kControlMark).push_back(static_cast<char>(0x80 | number));
  }
}

void RestoreControls(std::string& text, std::size_t from) {
  for (std::size_t at = text.find(kControlMark, from); at != text.npos; at = text.find(kControlMark, at + 1)) {
    const auto last = static_cast<unsigned char>(text[at + kControlMark.size()]);
    if (last < 0xA0) {
      text.replace(at, kControlMark.size() + 1, 1, static_cast<char>(last & 0x1F));
    }
  }
}

}  // namespace Pegasus::Detail
