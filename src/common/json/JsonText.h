#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/json/JsonGuard.h"

namespace Kelvar {

// Reading large texts where they stand. What is read here is, value for value, what JsonTree reads from the same text.

/// Whether the text is JSON by the strict rules that every reader accepts, within the limits, and has no escape in a
/// member name. One pass without recursion. A text that is refused here may still be one that JsonTree reads.
bool IsPlainJson(const std::string& text, const JsonLimits& limits) noexcept;

/// A value of a text, by position: its own, that of its name when it is a member, and the index of the node behind it
/// and all that it holds. The nodes of a text stand in document order.
struct JsonPlace {
  const char* value;
  std::string_view name;
  std::size_t next;
};

/// The same question; where the answer is yes, `places` has a node for each value.
bool ReadPlainJson(const std::string& text, const JsonLimits& limits, std::vector<JsonPlace>& places);

/// One value of a text that IsPlainJson has accepted; the text must outlive it.
class JsonSlice {
 public:
  explicit JsonSlice(const char* start) noexcept : start_(start) {}
  /// The value of the whole text.
  static JsonSlice Root(const std::string& text) noexcept;

  /// A string without its escapes, a number or literal as it stands, an empty text for an object or array.
  std::string Text() const;
  /// The first member of that name, when this is an object.
  std::optional<JsonSlice> Find(std::string_view name) const noexcept;
  /// Calls `visit` with each element of an array or value of an object, in order. It may return the position behind the
  /// value when it knows it, else null.
  template <typename Visit>
  void ForEach(Visit&& visit) const;
  const char* Start() const noexcept { return start_; }

 private:
  friend class JsonMembers;
  const char* FirstChild() const noexcept;
  /// Moves from behind one child to the next; null behind the last.
  static const char* NextChild(const char* behind, bool object) noexcept;
  static const char* Behind(const char* start) noexcept;

  const char* start_;
};

/// The members of one object and of the objects within it, found in one pass. Loaded again and again it keeps its
/// memory, for reading many objects of one shape.
class JsonMembers {
 public:
  /// Returns the position behind the object. A value that is no object has no members.
  const char* Load(JsonSlice object);
  /// The value at a path of member names with "." between them; of members with one name the first counts.
  std::optional<JsonSlice> Find(std::string_view path) const noexcept;

 private:
  struct Member {
    std::size_t parent;
    std::string_view name;
    const char* value;
  };
  static constexpr std::size_t kTop = static_cast<std::size_t>(-1);

  std::vector<Member> members_;
};

template <typename Visit>
void JsonSlice::ForEach(Visit&& visit) const {
  const bool object = *start_ == '{';
  for (const char* child = FirstChild(); child != nullptr;) {
    const char* behind = visit(JsonSlice(child));
    child = NextChild(behind != nullptr ? behind : Behind(child), object);
  }
}

}  // namespace Kelvar
