#include "common/json/JsonDocument.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include <rapidjson/document.h>

#include "common/json/JsonScan.h"
#include "common/log/LogMacros.h"

namespace Kelvar {

struct JsonAllocator {
  static constexpr bool kNeedFree = true;
  static void* Malloc(std::size_t size) { return size == 0 ? nullptr : Checked(std::malloc(size)); }
  static void* Realloc(void* block, std::size_t /*oldSize*/, std::size_t size) {
    if (size == 0) {
      std::free(block);
      return nullptr;
    }
    return Checked(std::realloc(block, size));
  }
  static void Free(void* block) noexcept { std::free(block); }

 private:
  static void* Checked(void* block) {
    if (block == nullptr) {
      throw std::bad_alloc();
    }
    return block;
  }
};

namespace {

constexpr double kLargestFloat = 3.4028234e38;

std::optional<float> ToFloat(const JsonDomValue& number) noexcept {
  const double value = number.GetDouble();
  if (value < -kLargestFloat || value > kLargestFloat) {
    return std::nullopt;
  }
  return static_cast<float>(value);
}

/// Blanks in place of control characters within strings.
void BlankControls(std::string& text) noexcept {
  const char* const end = text.data() + text.size();
  bool inString = false;
  for (char* at = text.data(); at != end;) {
    const auto left = static_cast<std::size_t>(end - at);
    if (!inString) {
      void* const quote = std::memchr(at, '"', left);
      if (quote == nullptr) {
        return;
      }
      at = static_cast<char*>(quote) + 1;
      inString = true;
      continue;
    }
    at += JsonScan::Skip<JsonScan::Until::Unusual>(at, end) - at;
    if (at == end) {
      return;
    }
    inString = *at != '"';
    if (*at == '\\' && end - at > 1) {
      ++at;
    }
    *at = *at > 0 && *at < 0x20 ? ' ' : *at;
    ++at;
  }
}

}  // namespace

bool JsonValue::IsNull() const noexcept {
  return value_ != nullptr && value_->IsNull();
}

bool JsonValue::IsObject() const noexcept {
  return value_ != nullptr && value_->IsObject();
}

bool JsonValue::IsArray() const noexcept {
  return value_ != nullptr && value_->IsArray();
}

JsonValue JsonValue::operator[](const char* name) const noexcept {
  if (!IsObject()) {
    return {};
  }
  const auto found = value_->FindMember(name);
  return found == value_->MemberEnd() ? JsonValue() : JsonValue(&found->value);
}

std::size_t JsonValue::MemberCount() const noexcept {
  return IsObject() ? value_->MemberCount() : 0;
}

std::vector<JsonValue> JsonValue::Elements() const {
  std::vector<JsonValue> elements;
  if (IsArray()) {
    elements.reserve(value_->Size());
    for (const JsonDomValue& element : value_->GetArray()) {
      elements.emplace_back(&element);
    }
  }
  return elements;
}

std::optional<std::string> JsonValue::String() const {
  return value_ != nullptr && value_->IsString() ? std::optional<std::string>(value_->GetString()) : std::nullopt;
}

std::optional<int> JsonValue::Int() const noexcept {
  return value_ != nullptr && value_->IsInt() ? std::optional<int>(value_->GetInt()) : std::nullopt;
}

std::optional<float> JsonValue::Number() const noexcept {
  return value_ != nullptr && value_->IsNumber() ? ToFloat(*value_) : std::nullopt;
}

std::optional<float> JsonValue::Real() const noexcept {
  return value_ != nullptr && value_->IsDouble() ? ToFloat(*value_) : std::nullopt;
}

std::optional<double> JsonValue::Double() const noexcept {
  const bool isNumber = value_ != nullptr && value_->IsNumber() && std::isfinite(value_->GetDouble());
  return isNumber ? std::optional<double>(value_->GetDouble()) : std::nullopt;
}

std::optional<bool> JsonValue::Bool() const noexcept {
  return value_ != nullptr && value_->IsBool() ? std::optional<bool>(value_->GetBool()) : std::nullopt;
}

std::vector<std::pair<std::string_view, JsonValue>> JsonValue::Members() const {
  std::vector<std::pair<std::string_view, JsonValue>> members;
  if (IsObject()) {
    members.reserve(value_->MemberCount());
    for (const auto& member : value_->GetObject()) {
      members.emplace_back(std::string_view(member.name.GetString(), member.name.GetStringLength()),
                           JsonValue(&member.value));
    }
  }
  return members;
}

/// The text holds the strings that the document points to.
struct JsonDocument::State {
  std::string text;
  rapidjson::GenericDocument<rapidjson::UTF8<char>, rapidjson::MemoryPoolAllocator<JsonAllocator>, JsonAllocator>
      document;
};

JsonDocument::JsonDocument(std::unique_ptr<State> state) noexcept : state_(std::move(state)) {}
JsonDocument::~JsonDocument() = default;
JsonDocument::JsonDocument(JsonDocument&&) noexcept = default;
JsonDocument& JsonDocument::operator=(JsonDocument&&) noexcept = default;

template <unsigned flags>
std::optional<JsonDocument> JsonDocument::Parse(std::string text, const JsonLimits& limits) {
  text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
  if (const char* excess = CheckJsonLimits(text, limits)) {
    KELVAR_LOG(2) << excess;
    return std::nullopt;
  }
  auto state = std::make_unique<State>();
  state->text = std::move(text);
  state->document.ParseInsitu<flags>(state->text.data());
  if (state->document.HasParseError()) {
    return std::nullopt;
  }
  return JsonDocument(std::move(state));
}

std::optional<JsonDocument> JsonDocument::Read(std::string text, const JsonLimits& limits) {
  return Parse<rapidjson::kParseDefaultFlags>(std::move(text), limits);
}

std::optional<JsonDocument> JsonDocument::ReadLeniently(std::string text, const JsonLimits& limits) {
  constexpr unsigned kFlags = rapidjson::kParseNanAndInfFlag | rapidjson::kParseTrailingCommasFlag;
  BlankControls(text);
  return Parse<kFlags>(std::move(text), limits);
}

JsonValue JsonDocument::Root() const noexcept {
  return JsonValue(&state_->document);
}

}  // namespace Kelvar
