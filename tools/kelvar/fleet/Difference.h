#pragma once

#include <string>
#include <vector>

namespace Kelvar::Tool {

/// What a target is, where it was or should be something else.
struct Difference {
  enum class Kind {
    Changed,   ///< a field, from `before` to `after`
    Added,     ///< a record, or with an empty `what` a target
    Removed,   ///< the same
    Deviates,  ///< a field is `after`, where `before` is expected
    Unread,    ///< nothing can be said; `after` is the status. No difference.
    NoRule,    ///< the baseline says nothing of this machine. No difference.
  };

  Kind kind;
  std::string target;
  std::string what;
  std::string record;  ///< name of one of several
  std::string field;
  std::string before;
  std::string after;

  bool IsDifference() const { return kind != Kind::Unread && kind != Kind::NoRule; }
};

/// The first `most` as an array of JSON in ASCII, without their target.
std::string JsonArrayOf(const std::vector<Difference>& differences, std::size_t most);

/// One after the other, with `separator` between them, as lines for people or as JSON objects of one line.
std::string TextOf(const std::vector<Difference>& differences, bool json, const std::string& separator);

}  // namespace Kelvar::Tool
