#include "common/json/JsonText.h"

#include <algorithm>
#include <cstring>

#include "common/json/JsonScan.h"

namespace Kelvar {

namespace {

const char* SkipSpace(const char* at) noexcept {
  if (static_cast<unsigned char>(*at) > ' ') {
    return at;
  }
  while (*at == ' ' || *at == '\n' || *at == '\t' || *at == '\r') {
    ++at;
  }
  return at;
}

/// The position after the closing quote of a string whose opening quote is at `at`.
const char* AfterString(const char* at, const char* end) noexcept {
  at = JsonScan::Skip<JsonScan::Until::Mark>(at + 1, end);
  while (*at == '\\') {
    at = JsonScan::Skip<JsonScan::Until::Mark>(at + 2, end);
  }
  return at + 1;
}

bool EndsScalar(char letter) noexcept {
  return letter == ',' || letter == '}' || letter == ']' || letter == ' ' || letter == '\n' || letter == '\r' ||
         letter == '\t' || letter == '\0';
}

const char* BehindScalar(const char* at) noexcept {
  while (!EndsScalar(*at)) {
    ++at;
  }
  return at;
}

unsigned HexQuad(const char* at) noexcept {
  unsigned value = 0;
  for (int digit = 0; digit < 4; ++digit) {
    const char letter = at[digit];
    const int nibble = letter <= '9' ? letter - '0' : (letter | 0x20) - 'a' + 10;
    value = value * 16 + static_cast<unsigned>(nibble);
  }
  return value;
}

void AppendUtf8(std::string& text, unsigned codepoint) {
  const auto trail = [codepoint](int shift) { return static_cast<char>(0x80 | ((codepoint >> shift) & 0x3F)); };
  if (codepoint < 0x80) {
    text.push_back(static_cast<char>(codepoint));
  } else if (codepoint < 0x800) {
    text.append({static_cast<char>(0xC0 | (codepoint >> 6)), trail(0)});
  } else if (codepoint < 0x10000) {
    text.append({static_cast<char>(0xE0 | (codepoint >> 12)), trail(6), trail(0)});
  } else {
    text.append({static_cast<char>(0xF0 | (codepoint >> 18)), trail(12), trail(6), trail(0)});
  }
}

/// Appends what the escape at `at` (after its backslash) stands for; returns the position after it.
const char* AppendEscaped(std::string& text, const char* at) {
  static constexpr std::string_view kLetters = "bfnrt";
  static constexpr std::string_view kMeanings = "\b\f\n\r\t";
  if (*at != 'u') {
    const auto letter = kLetters.find(*at);
    text.push_back(letter == std::string_view::npos ? *at : kMeanings[letter]);
    return at + 1;
  }
  unsigned codepoint = HexQuad(at + 1);
  at += 5;
  if ((codepoint & 0xFC00) == 0xD800) {
    codepoint = 0x10000 + (((codepoint & 0x3FF) << 10) | (HexQuad(at + 2) & 0x3FF));
    at += 6;
  }
  AppendUtf8(text, codepoint);
  return at;
}

std::string Unescaped(const char* at, const char* end) {
  std::string text;
  text.reserve(static_cast<std::size_t>(end - at));
  while (at != end) {
    const void* found = std::memchr(at, '\\', static_cast<std::size_t>(end - at));
    const char* backslash = found == nullptr ? end : static_cast<const char*>(found);
    text.append(at, backslash);
    at = backslash == end ? end : AppendEscaped(text, backslash + 1);
  }
  return text;
}

}  // namespace

std::string JsonToken::Text() const {
  switch (kind) {
    case Kind::Plain:
      return {value, valueSize};
    case Kind::Escaped:
      return Unescaped(value, value + valueSize);
    default:
      return {};
  }
}

JsonSlice JsonSlice::Root(const std::string& text) noexcept {
  return {SkipSpace(text.data()), text.data() + text.size()};
}

std::string JsonSlice::Text() const {
  switch (*start_) {
    case '{':
    case '[':
      return {};
    case '"': {
      const char* mark = JsonScan::Skip<JsonScan::Until::Mark>(start_ + 1, end_);
      return *mark == '"' ? std::string(start_ + 1, mark) : Unescaped(start_ + 1, AfterString(start_, end_) - 1);
    }
    default:
      return {start_, BehindScalar(start_)};
  }
}

const char* JsonSlice::After() const noexcept {
  if (*start_ == '"') {
    return AfterString(start_, end_);
  }
  if (*start_ != '{' && *start_ != '[') {
    return BehindScalar(start_);
  }
  std::size_t depth = 0;
  for (const char* at = start_;;) {
    switch (*at) {
      case '"':
        at = AfterString(at, end_);
        continue;
      case '{':
      case '[':
        ++depth;
        break;
      case '}':
      case ']':
        if (--depth == 0) {
          return at + 1;
        }
        break;
      default:
        break;
    }
    ++at;
  }
}

const char* JsonSlice::Enter() const noexcept {
  return SkipSpace(start_ + 1);
}

const char* JsonSlice::Name(const char* at, std::string_view& name) const noexcept {
  if (!IsObject()) {
    return at;
  }
  const char* after = AfterString(at, end_);
  name = {at + 1, static_cast<std::size_t>(after - at - 2)};
  return SkipSpace(SkipSpace(after) + 1);
}

const char* JsonSlice::Next(const char* after) noexcept {
  const char* at = SkipSpace(after);
  return *at == ',' ? SkipSpace(at + 1) : at;
}

std::optional<JsonSlice> JsonSlice::Find(std::string_view name) const noexcept {
  if (!IsObject()) {
    return std::nullopt;
  }
  for (const char* at = Enter(); *at != '}';) {
    std::string_view found;
    const JsonSlice value(Name(at, found), end_);
    if (found == name) {
      return value;
    }
    at = Next(value.After());
  }
  return std::nullopt;
}

const char* JsonMembers::Load(JsonSlice object) {
  members_.clear();
  end_ = object.end_;
  const char* at = object.Start();
  if (*at != '{') {
    return object.After();
  }
  std::size_t parent = kTop;
  at = SkipSpace(at + 1);
  for (;;) {
    if (*at == '}') {
      if (parent == kTop) {
        return at + 1;
      }
      parent = members_[parent].parent;
      at = SkipSpace(at + 1);
      continue;
    }
    at = *at == ',' ? SkipSpace(at + 1) : at;
    const char* behindName = AfterString(at, end_);
    const std::string_view name(at + 1, static_cast<std::size_t>(behindName - at - 2));
    at = SkipSpace(SkipSpace(behindName) + 1);
    members_.push_back({parent, name, at});
    if (*at == '{') {
      parent = members_.size() - 1;
      at = SkipSpace(at + 1);
    } else {
      at = SkipSpace(JsonSlice(at, end_).After());
    }
  }
}

std::optional<JsonSlice> JsonMembers::Find(std::string_view path) const noexcept {
  std::size_t parent = kTop;
  std::string_view name = path.substr(0, path.find('.'));
  for (std::size_t index = 0; index < members_.size(); ++index) {
    const Member& member = members_[index];
    if (member.parent != parent || member.name != name) {
      continue;
    }
    if (name.size() == path.size()) {
      return JsonSlice(member.value, end_);
    }
    path.remove_prefix(name.size() + 1);
    name = path.substr(0, path.find('.'));
    parent = index;
  }
  return std::nullopt;
}

bool JsonMembers::Has(std::string_view name) const noexcept {
  return std::any_of(members_.begin(), members_.end(),
                     [name](const Member& member) { return member.parent == kTop && member.name == name; });
}

}  // namespace Kelvar
