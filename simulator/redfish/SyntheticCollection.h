#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Kelvar::Simulator {

/// A collection made longer: its own members are followed by copies of them, in turn, each with an Id, a name or
/// sequence number, and, where they have one, a time of its own.
class SyntheticCollection {
 public:
  /// `own` are the pages of the collection's own members. Without any, or when there are more than `count`, the
  /// collection has the first `count` of them and nothing more.
  SyntheticCollection(std::string_view path, const std::vector<std::string>& own, std::size_t count);

  std::size_t Size() const { return count_; }
  /// The page of the member with index 0 and above.
  std::string Page(std::size_t index) const;
  /// The path of that member.
  std::string Path(std::size_t index) const;
  /// The member's page by its path, or nothing.
  std::optional<std::string> Find(std::string_view path) const;

 private:
  struct Template {
    /// The page, with marks where number and time go.
    std::string page;
    /// What comes before the number in its Id.
    std::string stem;
  };

  std::string path_;
  std::vector<std::string> own_;
  std::vector<std::string> ownPaths_;
  std::vector<Template> templates_;
  std::size_t count_;
};

}  // namespace Kelvar::Simulator
