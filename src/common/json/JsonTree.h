#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/property_tree/exceptions.hpp>
#include <boost/property_tree/ptree_fwd.hpp>

#include "common/json/JsonGuard.h"

namespace Kelvar {

/// One node of a JsonTree, which must outlive it. Every scalar is a text: a number its digits, a boolean "true" or
/// "false", null "null"; an object or array has the empty text. Of members with the same name the first counts.
class JsonNode {
 public:
  explicit JsonNode(const boost::property_tree::ptree& node) noexcept : node_(&node) {}

  const std::string& Value() const noexcept;
  /// The node at a path of member names with "." between them. Throws ptree_bad_path when there is none.
  JsonNode Child(const char* path) const;
  /// The text at a path, or `missing` when there is no such node.
  std::string Text(const char* path, const char* missing) const;
  /// A direct member by its whole name, dots and all.
  std::optional<JsonNode> Find(const char* name) const;
  /// Elements of an array, or values of an object, in document order.
  std::vector<JsonNode> Children() const;

 private:
  const boost::property_tree::ptree* node_;
};

/// The tree reader: a text read into a property tree.
class JsonTree {
 public:
  /// Throws ptree_error for a text that is no JSON or is beyond the limits.
  explicit JsonTree(std::string_view text, const JsonLimits& limits = {});
  ~JsonTree();
  JsonTree(JsonTree&&) noexcept;
  JsonTree& operator=(JsonTree&&) noexcept;

  JsonNode Root() const noexcept;

 private:
  std::unique_ptr<boost::property_tree::ptree> tree_;
};

}  // namespace Kelvar
