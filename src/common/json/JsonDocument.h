#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <rapidjson/fwd.h>

#include "common/json/JsonLimits.h"

namespace Kelvar {

/// Memory for documents. RapidJSON writes through null where it finds none: this one throws std::bad_alloc.
struct JsonAllocator;
using JsonDomValue = rapidjson::GenericValue<rapidjson::UTF8<char>, rapidjson::MemoryPoolAllocator<JsonAllocator>>;

/// One value of a JsonDocument, which must outlive it, or nothing. Every question may be asked of every value: one of
/// the wrong type, and nothing, give no answer.
class JsonValue {
 public:
  JsonValue() = default;
  explicit JsonValue(const JsonDomValue* value) noexcept : value_(value) {}

  /// Whether there is a value at all, null included.
  explicit operator bool() const noexcept { return value_ != nullptr; }
  bool IsNull() const noexcept;
  bool IsObject() const noexcept;
  bool IsArray() const noexcept;

  /// The member of an object; of several with one name the first.
  JsonValue operator[](const char* name) const noexcept;
  /// 0 when this is not an object.
  std::size_t MemberCount() const noexcept;
  /// Elements of an array.
  std::vector<JsonValue> Elements() const;

  /// A string, up to its first NUL.
  std::optional<std::string> String() const;
  /// A number without fraction or exponent that fits an int.
  std::optional<int> Int() const noexcept;
  /// Any number within the range of a float.
  std::optional<float> Number() const noexcept;
  /// The same, but only one that is written with a fraction or an exponent, or is too large for a 64-bit integer.
  std::optional<float> Real() const noexcept;
  /// Any number.
  std::optional<double> Double() const noexcept;
  std::optional<bool> Bool() const noexcept;
  /// Names and values of an object's members, in document order. The names live as long as the document.
  std::vector<std::pair<std::string_view, JsonValue>> Members() const;

 private:
  const JsonDomValue* value_ = nullptr;
};

/// The document reader: a text read by RapidJSON, in place.
class JsonDocument {
 public:
  /// Reads the text up to its first NUL. Nothing when that is not JSON or is beyond the limits, which leaves a line of
  /// level 2.
  static std::optional<JsonDocument> Read(std::string text, const JsonLimits& limits = {});
  /// The same, of what some services send for JSON: control characters in strings, which become blanks, commas before a
  /// closing bracket, and NaN and infinities, which are no numbers.
  static std::optional<JsonDocument> ReadLeniently(std::string text, const JsonLimits& limits = {});
  ~JsonDocument();
  JsonDocument(JsonDocument&&) noexcept;
  JsonDocument& operator=(JsonDocument&&) noexcept;

  JsonValue Root() const noexcept;

 private:
  struct State;
  template <unsigned flags>
  static std::optional<JsonDocument> Parse(std::string text, const JsonLimits& limits);
  explicit JsonDocument(std::unique_ptr<State> state) noexcept;

  std::unique_ptr<State> state_;
};

}  // namespace Kelvar
