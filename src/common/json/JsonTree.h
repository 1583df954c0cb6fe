#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/property_tree/exceptions.hpp>
#include <boost/property_tree/ptree_fwd.hpp>

#include "common/json/JsonLimits.h"

namespace Kelvar {

struct JsonToken;

/// One node of a JsonTree, which must outlive it. Every scalar is a text: a number its digits, a boolean "true" or
/// "false", null "null"; an object or array has the empty text. Of members with the same name the first counts.
class JsonNode {
 public:
  explicit JsonNode(const boost::property_tree::ptree& node) noexcept : node_(&node) {}
  JsonNode(const std::vector<JsonToken>& tokens, std::size_t index) noexcept : tokens_(&tokens), index_(index) {}

  std::string Value() const;
  /// The node at a path of member names with "." between them. Throws ptree_bad_path when there is none.
  JsonNode Child(const char* path) const;
  /// The text at a path, or `missing` when there is no such node.
  std::string Text(const char* path, const char* missing) const;
  /// A direct member by its whole name, dots and all.
  std::optional<JsonNode> Find(std::string_view name) const;
  /// Elements of an array, or values of an object, in document order.
  std::vector<JsonNode> Children() const;

 private:
  std::optional<JsonNode> FindPath(const char* path) const;

  // One of the two: a node of a property tree, or a place in the text.
  const boost::property_tree::ptree* node_ = nullptr;
  const std::vector<JsonToken>* tokens_ = nullptr;
  std::size_t index_ = 0;
};

/// The tree reader: a text as a property tree. Most texts are read in place, at a tenth of the time and memory;
/// the property tree's own parser reads those that are not plain JSON, and says what is wrong with them. Which of the
/// two has read a text shows in nothing but that.
class JsonTree {
 public:
  /// The text must outlive the tree. Throws ptree_error for one that is not JSON or is beyond the limits.
  explicit JsonTree(const std::string& text, const JsonLimits& limits = {});
  explicit JsonTree(std::string&& text, const JsonLimits& limits = {}) = delete;
  ~JsonTree();
  JsonTree(JsonTree&&) noexcept;
  JsonTree& operator=(JsonTree&&) noexcept;

  /// Always by the property tree's parser.
  static JsonTree ByParser(const std::string& text, const JsonLimits& limits = {});

  JsonNode Root() const noexcept;

 private:
  JsonTree();

  std::unique_ptr<boost::property_tree::ptree> tree_;  ///< null when the tokens hold the text's values
  std::unique_ptr<std::vector<JsonToken>> tokens_;
};

}  // namespace Kelvar
