#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/Types.h>

#include "common/json/JsonLimits.h"

namespace Kelvar {

// Reading large texts in place. What is read here is, value for value, what JsonTree reads from the same text.

/// Whether the text is JSON by the strict rules that every reader accepts, within the limits, and has no escape in a
/// member name. One pass without recursion. A text that is refused here may still be one that JsonTree reads.
bool IsPlainJson(const std::string& text, const JsonLimits& limits) noexcept;

/// A value of a text, and its name when it is a member. The nodes of a text are in document order.
struct JsonToken {
  enum class Kind : u8 { Object, Array, Escaped, Plain };

  std::string Text() const;
  std::string_view Name() const noexcept { return {name, nameSize}; }

  const char* value;
  const char* name;
  u32 valueSize;  ///< of a scalar; of a string without its quotes
  u32 nameSize;
  u32 next;   ///< index of the node after this one and all that it holds
  Kind kind;  ///< Escaped: a string with escapes, Plain: any other scalar
};

/// The same question; where the answer is yes, `tokens` has a node for each value.
bool ReadPlainJson(const std::string& text, const JsonLimits& limits, std::vector<JsonToken>& tokens);

/// One value of a text that IsPlainJson has accepted; the text must outlive it.
class JsonSlice {
 public:
  /// A value of the text that ends at `end`.
  JsonSlice(const char* start, const char* end) noexcept : start_(start), end_(end) {}
  /// The value of the whole text.
  static JsonSlice Root(const std::string& text) noexcept;

  /// A string without its escapes, a number or literal as it is, an empty text for an object or array.
  std::string Text() const;
  /// The first member of that name, when this is an object.
  std::optional<JsonSlice> Find(std::string_view name) const noexcept;
  /// Calls `visit` with each element of an array, or value of an object, and its name, in order. It may return the
  /// position after the value when it knows it, else null. Returns the position after this value.
  template <typename Visit>
  const char* ForEach(Visit&& visit) const;
  const char* Start() const noexcept { return start_; }
  bool IsObject() const noexcept { return *start_ == '{'; }

 private:
  friend class JsonMembers;
  /// The first child of a container, or its closing bracket.
  const char* Enter() const noexcept;
  /// Takes the name of the child at `at`, when this is an object, and moves to the child's value.
  const char* Name(const char* at, std::string_view& name) const noexcept;
  /// From the end of one child to the next, or to the closing bracket.
  static const char* Next(const char* after) noexcept;
  /// The position after this value.
  const char* After() const noexcept;

  const char* start_;
  const char* end_;
};

/// The members of one object and of the objects within it, found in one pass. Loaded again and again it keeps its
/// memory, for reading many objects of one shape.
class JsonMembers {
 public:
  /// Returns the position after the object. A value that is not an object has no members.
  const char* Load(JsonSlice object);
  /// The value at a path of member names with "." between them; of members with one name the first counts.
  std::optional<JsonSlice> Find(std::string_view path) const noexcept;
  /// Whether a member of the object has that whole name, dots and all.
  bool Has(std::string_view name) const noexcept;
  /// Members of the object and of the objects within it.
  std::size_t Count() const noexcept { return members_.size(); }

 private:
  struct Member {
    std::size_t parent;
    std::string_view name;
    const char* value;
  };
  static constexpr std::size_t kTop = static_cast<std::size_t>(-1);

  std::vector<Member> members_;
  const char* end_ = nullptr;
};

template <typename Visit>
const char* JsonSlice::ForEach(Visit&& visit) const {
  if (*start_ != '{' && *start_ != '[') {
    return After();
  }
  const char* at = Enter();
  while (*at != '}' && *at != ']') {
    std::string_view name;
    const JsonSlice child(Name(at, name), end_);
    const char* after = visit(child, name);
    at = Next(after != nullptr ? after : child.After());
  }
  return at + 1;
}

}  // namespace Kelvar
