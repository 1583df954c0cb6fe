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

using Kind = JsonPlace::Kind;

/// Takes no note of what is read.
struct NoPlaces {
  void Scalar(std::string_view, std::string_view, Kind) noexcept {}
  void Open(std::string_view, const char*, Kind) noexcept {}
  void Close() noexcept {}
};

/// Notes the place of every value.
class AllPlaces {
 public:
  explicit AllPlaces(std::vector<JsonPlace>& places) : places_(places) {}

  void Scalar(std::string_view name, std::string_view text, Kind kind) {
    places_.push_back({text.data(), name.data(), static_cast<u32>(text.size()), static_cast<u32>(name.size()),
                       static_cast<u32>(places_.size() + 1), kind});
  }
  void Open(std::string_view name, const char* value, Kind kind) {
    open_[depth_++] = places_.size();
    places_.push_back({value, name.data(), 0, static_cast<u32>(name.size()), 0, kind});
  }
  void Close() noexcept { places_[open_[--depth_]].next = static_cast<u32>(places_.size()); }

 private:
  std::vector<JsonPlace>& places_;
  std::array<std::size_t, kMaxDepth> open_{};
  std::size_t depth_ = 0;
};

/// Checks a text that is closed by a NUL, so that no look at the next byte needs to ask for the end.
template <typename Places>
class PlainCheck {
 public:
  PlainCheck(std::string_view text, const JsonLimits& limits, Places places)
      : at_(text.data()), end_(text.data() + text.size()), limits_(limits), places_(places) {}

  bool Run() {
    bool fine = Value();
    while (fine && depth_ > 0) {
      fine = Next();
    }
    Space();
    return fine && at_ == end_;
  }

 private:
  void Space() noexcept {
    if (static_cast<unsigned char>(*at_) > ' ') {
      return;
    }
    while (*at_ == ' ' || *at_ == '\n' || *at_ == '\t' || *at_ == '\r') {
      ++at_;
    }
  }

  bool Take(char letter) noexcept {
    const bool there = *at_ == letter;
    at_ += there ? 1 : 0;
    return there;
  }

  /// One whole scalar, or the start of a container up to and with its first scalar.
  bool Value() {
    for (;;) {
      Space();
      if (++values_ > limits_.values) {
        return false;
      }
      if (*at_ != '{' && *at_ != '[') {
        return Scalar();
      }
      if (depth_ == kMaxDepth || depth_ == limits_.depth) {
        return false;
      }
      const bool object = *at_ == '{';
      places_.Open(std::exchange(name_, {}), at_++, object ? Kind::Object : Kind::Array);
      isObject_[depth_++] = object;
      Space();
      if (*at_ == (object ? '}' : ']')) {
        return true;  // closed by Next
      }
      if (object && !Name()) {
        return false;
      }
    }
  }

  bool Scalar() {
    const char* start = at_;
    const bool text = *start == '"';
    if (!(text ? String() : *start == '-' || IsDigit(*start) ? Number() : Literal())) {
      return false;
    }
    const std::string_view value = text ? Between(start + 1, at_ - 1) : Between(start, at_);
    places_.Scalar(std::exchange(name_, {}), value, text && escaped_ ? Kind::Escaped : Kind::Plain);
    return true;
  }

  static std::string_view Between(const char* start, const char* end) noexcept {
    return {start, static_cast<std::size_t>(end - start)};
  }

  /// What stands behind a value within a container: its end, or a comma and another value.
  bool Next() {
    Space();
    const bool object = isObject_[depth_ - 1];
    if (Take(object ? '}' : ']')) {
      places_.Close();
      --depth_;
      return true;
    }
    return Take(',') && (!object || Name()) && Value();
  }

  bool Name() noexcept {
    Space();
    const char* start = at_;
    if (*at_ != '"' || !String() || escaped_) {
      return false;
    }
    name_ = Between(start + 1, at_ - 1);
    Space();
    return Take(':');
  }

  bool String() noexcept {
    escaped_ = false;
    for (++at_;;) {
      at_ = JsonScan::Skip<JsonScan::Until::Unusual>(at_, end_);
      if (*at_ == '"') {
        ++at_;
        return true;
      }
      if (*at_ == '\\' ? !Escape() : !MultiByte()) {
        return false;
      }
    }
  }

  bool MultiByte() noexcept {
    const auto lead = static_cast<unsigned char>(*at_);
    if (lead < 0xC0 || lead >= 0xF8) {
      return false;  // control characters and the closing NUL end up here too
    }
    const int trailing = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    ++at_;
    for (int index = 0; index < trailing; ++index, ++at_) {
      if ((*at_ & 0xC0) != 0x80) {
        return false;
      }
    }
    return true;
  }

  bool Escape() noexcept {
    escaped_ = true;
    ++at_;
    if (*at_ != 'u') {
      const bool known = *at_ != '\0' && std::strchr("\"\\/bfnrt", *at_) != nullptr;
      at_ += known ? 1 : 0;
      return known;
    }
    unsigned high = 0;
    unsigned low = 0;
    if (!Quad(high) || (high & 0xFC00) == 0xDC00) {
      return false;
    }
    return (high & 0xFC00) != 0xD800 || (Take('\\') && *at_ == 'u' && Quad(low) && (low & 0xFC00) == 0xDC00);
  }

  /// "u" and four hexadecimal digits.
  bool Quad(unsigned& value) noexcept {
    ++at_;
    for (int digit = 0; digit < 4; ++digit, ++at_) {
      if (!IsHexDigit(*at_)) {
        return false;
      }
      const int nibble = IsDigit(*at_) ? *at_ - '0' : (*at_ | 0x20) - 'a' + 10;
      value = value * 16 + static_cast<unsigned>(nibble);
    }
    return true;
  }

  bool Digits() noexcept {
    const char* start = at_;
    while (IsDigit(*at_)) {
      ++at_;
    }
    return at_ != start;
  }

  bool Number() noexcept {
    Take('-');
    if (!Take('0') && !Digits()) {
      return false;
    }
    if (Take('.') && !Digits()) {
      return false;
    }
    if (!Take('e') && !Take('E')) {
      return true;
    }
    if (!Take('+')) {
      Take('-');
    }
    return Digits();
  }

  bool Literal() noexcept {
    for (const std::string_view word : {"null", "true", "false"}) {
      if (std::strncmp(at_, word.data(), word.size()) == 0) {
        at_ += word.size();
        return true;
      }
    }
    return false;
  }

  const char* at_;
  const char* const end_;
  const JsonLimits& limits_;
  Places places_;
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

bool ReadPlainJson(const std::string& text, const JsonLimits& limits, std::vector<JsonPlace>& places) {
  constexpr std::size_t kLikelyBytesOfValue = 32;
  places.clear();
  if (text.size() > limits.bytes || text.size() > std::numeric_limits<u32>::max()) {
    return false;
  }
  places.reserve(std::min(text.size() / kLikelyBytesOfValue, limits.values));
  return PlainCheck(text, limits, AllPlaces(places)).Run();
}

}  // namespace Kelvar
