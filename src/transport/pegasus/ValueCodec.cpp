#include "transport/pegasus/ValueCodec.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>

#include "transport/pegasus/Utf8Sanitizer.h"

namespace Pegasus::Detail {

namespace {

struct NamedType {
  std::string_view name;
  CIMType type;
};

constexpr std::array kTypes = {
    NamedType{"string", CIMTYPE_STRING},       NamedType{"uint16", CIMTYPE_UINT16},
    NamedType{"uint32", CIMTYPE_UINT32},       NamedType{"boolean", CIMTYPE_BOOLEAN},
    NamedType{"sint32", CIMTYPE_SINT32},       NamedType{"uint64", CIMTYPE_UINT64},
    NamedType{"datetime", CIMTYPE_DATETIME},   NamedType{"uint8", CIMTYPE_UINT8},
    NamedType{"sint8", CIMTYPE_SINT8},         NamedType{"sint16", CIMTYPE_SINT16},
    NamedType{"sint64", CIMTYPE_SINT64},       NamedType{"real32", CIMTYPE_REAL32},
    NamedType{"real64", CIMTYPE_REAL64},       NamedType{"char16", CIMTYPE_CHAR16},
    NamedType{"reference", CIMTYPE_REFERENCE},
};

std::string_view WithoutPlus(std::string_view text) noexcept {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
    text.remove_prefix(1);
  }
  return text;
}

template <typename T>
bool AppendInteger(std::string_view wire, std::string& stored) {
  wire = WithoutPlus(wire);
  const bool hexadecimal = wire.size() > 2 && wire[0] == '0' && (wire[1] == 'x' || wire[1] == 'X');
  if (hexadecimal) {
    wire.remove_prefix(2);
  }
  T value = 0;
  const char* const end = wire.data() + wire.size();
  const auto [stop, error] = std::from_chars(wire.data(), end, value, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end) {
    return false;
  }
  std::array<char, std::numeric_limits<T>::digits10 + 3> buffer{};
  const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  stored.append(buffer.data(), written.ptr);
  return true;
}

template <typename T>
bool AppendReal(std::string_view wire, std::string& stored) {
  wire = WithoutPlus(wire);
  T value = 0;
  const char* const end = wire.data() + wire.size();
  const auto [stop, error] = std::from_chars(wire.data(), end, value);
  if (error != std::errc() || stop != end) {
    return false;
  }
  std::array<char, 32> buffer{};
  const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), static_cast<double>(value),
                                     std::chars_format::scientific, 16);
  stored.append(buffer.data(), written.ptr);
  return true;
}

bool EqualsWord(std::string_view text, std::string_view upperWord) noexcept {
  return std::equal(text.begin(), text.end(), upperWord.begin(), upperWord.end(),
                    [](char c, char upper) { return c == upper || c == upper - 'A' + 'a'; });
}

bool AppendBoolean(std::string_view wire, std::string& stored) {
  for (const std::string_view word : {"TRUE", "FALSE"}) {
    if (EqualsWord(wire, word)) {
      stored += word;
      return true;
    }
  }
  return false;
}

constexpr std::string_view kWhiteSpace = " \t\r\n";

}  // namespace

CIMType TypeNamed(std::string_view name) noexcept {
  const auto found =
      std::find_if(kTypes.begin(), kTypes.end(), [&](const NamedType& entry) { return entry.name == name; });
  return found == kTypes.end() ? CIMTYPE_STRING : found->type;
}

bool AppendStored(CIMType type, std::string_view wire, std::string& stored) {
  switch (type) {
    case CIMTYPE_BOOLEAN:
      return AppendBoolean(wire, stored);
    case CIMTYPE_UINT8:
      return AppendInteger<Uint8>(wire, stored);
    case CIMTYPE_SINT8:
      return AppendInteger<Sint8>(wire, stored);
    case CIMTYPE_UINT16:
      return AppendInteger<Uint16>(wire, stored);
    case CIMTYPE_SINT16:
      return AppendInteger<Sint16>(wire, stored);
    case CIMTYPE_UINT32:
      return AppendInteger<Uint32>(wire, stored);
    case CIMTYPE_SINT32:
      return AppendInteger<Sint32>(wire, stored);
    case CIMTYPE_UINT64:
      return AppendInteger<Uint64>(wire, stored);
    case CIMTYPE_SINT64:
      return AppendInteger<Sint64>(wire, stored);
    case CIMTYPE_REAL32:
      return AppendReal<Real32>(wire, stored);
    case CIMTYPE_REAL64:
      return AppendReal<Real64>(wire, stored);
    case CIMTYPE_CHAR16:
    case CIMTYPE_STRING:
    case CIMTYPE_DATETIME:
    case CIMTYPE_REFERENCE:
      break;
  }
  stored += wire;
  return true;
}

std::string_view NullElement(CIMType type) noexcept {
  switch (type) {
    case CIMTYPE_BOOLEAN:
      return "FALSE";
    case CIMTYPE_REAL32:
    case CIMTYPE_REAL64:
      return "0.0000000000000000e+00";
    case CIMTYPE_CHAR16:
    case CIMTYPE_STRING:
    case CIMTYPE_DATETIME:
    case CIMTYPE_REFERENCE:
      return "";
    default:
      return "0";
  }
}

void AppendElement(std::string_view element, std::string& stored) {
  const auto size = static_cast<Uint32>(element.size());
  std::array<char, sizeof size> bytes{};
  std::memcpy(bytes.data(), &size, sizeof size);
  stored.append(bytes.data(), bytes.size());
  stored.append(element);
  stored += '\0';
}

bool ElementReader::Next(std::string_view& element) noexcept {
  Uint32 size = 0;
  if (rest_.size() < sizeof size) {
    return false;
  }
  std::memcpy(&size, rest_.data(), sizeof size);
  element = rest_.substr(sizeof size, size);
  rest_.remove_prefix(sizeof size + size + 1);
  return true;
}

void TextCollector::Start() noexcept {
  text_.clear();
  solid_ = 0;
}

void TextCollector::Append(std::string_view text, bool verbatim) {
  const std::size_t start = text_.size();
  if (verbatim) {
    text_ += text;
    RestoreControls(text_, start);
    solid_ = text_.size();
    return;
  }
  if (text_.empty()) {
    text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  }
  text_ += text;
  RestoreControls(text_, start);
  const std::size_t last = std::string_view(text_).substr(start).find_last_not_of(kWhiteSpace);
  if (last != std::string_view::npos) {
    solid_ = start + last + 1;
  }
}

std::string_view TextCollector::Finish() noexcept {
  return std::string_view(text_).substr(0, solid_);
}

void ValueDraft::Start(std::string_view newName, CIMType newType, bool array) {
  name = newName;
  type = newType;
  isArray = array;
  isNull = true;
  stored.clear();
}

bool ValueDraft::Set(std::string_view text) {
  if (text.empty() && !IsTextType(type)) {
    SetNullElement();
    return true;
  }
  if (!isArray) {
    stored.clear();
    isNull = false;
    return AppendStored(type, text, stored);
  }
  element_.clear();
  if (!AppendStored(type, text, element_)) {
    return false;
  }
  AppendElement(element_, stored);
  return true;
}

void ValueDraft::SetNullElement() {
  if (isArray) {
    AppendElement(NullElement(type), stored);
  }
}

CIMValue ValueDraft::Value() const {
  return {String(std::string_view(stored)).Shared(), type, isArray, isNull};
}

}  // namespace Pegasus::Detail
