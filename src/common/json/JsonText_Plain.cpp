#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

#include "common/json/JsonScan.h"
#include "common/json/JsonText.h"

namespace Kelvar {

namespace {

bool IsDigit(char letter) noexcept {
  return letter >= '0' && letter <= '9';
}

bool IsHexDigit(char letter) noexcept {
  return IsDigit(letter) || (letter >= 'a' && letter <= 'f') || (letter >= 'A' && letter <= 'F');
}

constexpr std::size_t kMaxDepth = 128;

using Kind = JsonToken::Kind;

/// Takes no note of what is read.
struct NoPlaces {
  void Scalar(std::string_view, std::string_view, Kind) noexcept {}
  void Open(std::string_view, const char*, Kind) noexcept {}
  void Close() noexcept {}
};

/// Notes the place of every value.
class AllTokens {
 public:
  explicit AllTokens(std::vector<JsonToken>& tokens) : tokens_(tokens) {}

  void Scalar(std::string_view name, std::string_view text, Kind kind) {
    tokens_.push_back({text.data(), name.data(), static_cast<u32>(text.size()), static_cast<u32>(name.size()),
                       static_cast<u32>(tokens_.size() + 1), kind});
  }
  void Open(std::string_view name, const char* value, Kind kind) {
    open_[depth_++] = tokens_.size();
    tokens_.push_back({value, name.data(), 0, static_cast<u32>(name.size()), 0, kind});
  }
  void Close() noexcept { tokens_[open_[--depth_]].next = static_cast<u32>(tokens_.size()); }

 private:
  std::vector<JsonToken>& tokens_;
  std::array<std::size_t, kMaxDepth> open_{};
  std::size_t depth_ = 0;
};

/// Checks a text that is closed by a NUL, so that no look at the next byte needs to ask for the end. What takes a
/// position gives back the one after what it read, null when that is not plain: positions stay in registers.
template <typename Tokens>
class PlainCheck {
 public:
  PlainCheck(std::string_view text, const JsonLimits& limits, Tokens tokens)
      : start_(text.data()), end_(text.data() + text.size()), limits_(limits), tokens_(tokens) {}

  bool Run() {
    const char* at = Value(start_);
    while (at != nullptr && depth_ > 0) {
      at = Next(at);
    }
    return at != nullptr && Space(at) == end_;
  }

 private:
  static const char* Space(const char* at) noexcept {
    if (static_cast<unsigned char>(*at) > ' ') {
      return at;
    }
    while (*at == ' ' || *at == '\n' || *at == '\t' || *at == '\r') {
      ++at;
    }
    return at;
  }

  /// One whole scalar, or the start of a container up to and with its first scalar, or up to the end of an empty one.
  const char* Value(const char* at) {
    for (;;) {
      if (InObject() && (at = Name(at)) == nullptr) {
        return nullptr;
      }
      at = Space(at);
      if (++values_ > limits_.values) {
        return nullptr;
      }
      if (*at != '{' && *at != '[') {
        return Scalar(at);
      }
      if (depth_ == kMaxDepth || depth_ == limits_.depth) {
        return nullptr;
      }
      const bool object = *at == '{';
      tokens_.Open(std::exchange(name_, {}), at, object ? Kind::Object : Kind::Array);
      isObject_[depth_++] = object;
      at = Space(at + 1);
      if (*at == (object ? '}' : ']')) {
        return at;  // closed by Next
      }
    }
  }

  /// What follows a value within a container: its end, or a comma and another value.
  const char* Next(const char* at) {
    at = Space(at);
    if (*at == (InObject() ? '}' : ']')) {
      tokens_.Close();
      --depth_;
      return at + 1;
    }
    return *at == ',' ? Value(at + 1) : nullptr;
  }

  bool InObject() const noexcept { return depth_ > 0 && isObject_[depth_ - 1]; }

  const char* Scalar(const char* start) {
    const bool text = *start == '"';
    const char* after = text ? String(start) : *start == '-' || IsDigit(*start) ? Number(start) : Literal(start);
    if (after != nullptr) {
      const std::string_view value = text ? Between(start + 1, after - 1) : Between(start, after);
      tokens_.Scalar(std::exchange(name_, {}), value, text && escaped_ ? Kind::Escaped : Kind::Plain);
    }
    return after;
  }

  static std::string_view Between(const char* start, const char* end) noexcept {
    return {start, static_cast<std::size_t>(end - start)};
  }

  const char* Name(const char* at) noexcept {
    const char* start = Space(at);
    const char* after = *start == '"' ? String(start) : nullptr;
    if (after == nullptr || escaped_) {
      return nullptr;
    }
    name_ = Between(start + 1, after - 1);
    at = Space(after);
    return *at == ':' ? at + 1 : nullptr;
  }

  const char* String(const char* at) noexcept {
    escaped_ = false;
    for (++at; at != nullptr;) {
      at = JsonScan::Skip<JsonScan::Until::Unusual>(at, end_);
      if (*at == '"') {
        return at + 1;
      }
      at = *at == '\\' ? Escape(at) : MultiByte(at);
    }
    return nullptr;
  }

  static const char* MultiByte(const char* at) noexcept {
    const auto lead = static_cast<unsigned char>(*at);
    if (lead < 0xC0 || lead >= 0xF8) {
      return nullptr;  // control characters and the closing NUL end up here too
    }
    const int trailing = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    ++at;
    for (int index = 0; index < trailing; ++index, ++at) {
      if ((*at & 0xC0) != 0x80) {
        return nullptr;
      }
    }
    return at;
  }

  const char* Escape(const char* at) noexcept {
    escaped_ = true;
    ++at;
    if (*at != 'u') {
      return *at != '\0' && std::strchr("\"\\/bfnrt", *at) != nullptr ? at + 1 : nullptr;
    }
    unsigned high = 0;
    unsigned low = 0;
    at = Quad(at, high);
    if (at == nullptr || (high & 0xFC00) != 0xD800) {
      return (high & 0xFC00) == 0xDC00 ? nullptr : at;
    }
    const bool second = at[0] == '\\' && at[1] == 'u';
    at = second ? Quad(at + 1, low) : nullptr;
    return (low & 0xFC00) == 0xDC00 ? at : nullptr;
  }

  /// "u" and four hexadecimal digits.
  static const char* Quad(const char* at, unsigned& value) noexcept {
    ++at;
    for (int digit = 0; digit < 4; ++digit, ++at) {
      if (!IsHexDigit(*at)) {
        return nullptr;
      }
      const int nibble = IsDigit(*at) ? *at - '0' : (*at | 0x20) - 'a' + 10;
      value = value * 16 + static_cast<unsigned>(nibble);
    }
    return at;
  }

  /// At least one.
  static const char* Digits(const char* at) noexcept {
    if (!IsDigit(*at)) {
      return nullptr;
    }
    while (IsDigit(*at)) {
      ++at;
    }
    return at;
  }

  static const char* Number(const char* at) noexcept {
    at += *at == '-' ? 1 : 0;
    at = *at == '0' ? at + 1 : Digits(at);
    if (at != nullptr && *at == '.') {
      at = Digits(at + 1);
    }
    if (at == nullptr || (*at != 'e' && *at != 'E')) {
      return at;
    }
    ++at;
    return Digits(*at == '+' || *at == '-' ? at + 1 : at);
  }

  static const char* Literal(const char* at) noexcept {
    for (const std::string_view word : {"null", "true", "false"}) {
      if (std::strncmp(at, word.data(), word.size()) == 0) {
        return at + word.size();
      }
    }
    return nullptr;
  }

  const char* const start_;
  const char* const end_;
  const JsonLimits& limits_;
  Tokens tokens_;
  std::string_view name_;  ///< of the value that comes next
  bool escaped_ = false;   ///< whether the last string has escapes
  std::size_t depth_ = 0;
  std::size_t values_ = 0;
  std::array<bool, kMaxDepth> isObject_{};
};

}  // namespace

bool IsPlainJson(const std::string& text, const JsonLimits& limits) noexcept {
  return text.size() <= limits.bytes && PlainCheck(text, limits, NoPlaces()).Run();
}

bool ReadPlainJson(const std::string& text, const JsonLimits& limits, std::vector<JsonToken>& tokens) {
  constexpr std::size_t kLikelyBytesOfValue = 24;
  tokens.clear();
  if (text.size() > limits.bytes || text.size() > std::numeric_limits<u32>::max()) {
    return false;
  }
  tokens.reserve(std::min(text.size() / kLikelyBytesOfValue, limits.values));
  return PlainCheck(text, limits, AllTokens(tokens)).Run();
}

}  // namespace Kelvar
