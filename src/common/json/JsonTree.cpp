#include "common/json/JsonTree.h"

#include <istream>
#include <streambuf>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

namespace Kelvar {

using boost::property_tree::ptree;

namespace {

/// Lets a stream read the text where it stands: a string stream would copy it.
class TextBuffer : public std::streambuf {
 public:
  explicit TextBuffer(std::string_view text) {
    char* start = const_cast<char*>(text.data());  // a get area is never written to
    setg(start, start, start + text.size());
  }
};

}  // namespace

const std::string& JsonNode::Value() const noexcept {
  return node_->data();
}

JsonNode JsonNode::Child(const char* path) const {
  return JsonNode(node_->get_child(path));
}

std::string JsonNode::Text(const char* path, const char* missing) const {
  const auto found = node_->get_child_optional(path);
  return found ? found->data() : missing;
}

std::optional<JsonNode> JsonNode::Find(const char* name) const {
  const auto found = node_->find(name);
  return found == node_->not_found() ? std::nullopt : std::optional<JsonNode>(found->second);
}

std::vector<JsonNode> JsonNode::Children() const {
  std::vector<JsonNode> children;
  children.reserve(node_->size());
  for (const auto& [name, child] : *node_) {
    children.emplace_back(child);
  }
  return children;
}

JsonTree::JsonTree(std::string_view text, const JsonLimits& limits) : tree_(std::make_unique<ptree>()) {
  if (const char* excess = JsonExcess(text, limits)) {
    throw boost::property_tree::json_parser_error(excess, "", 0);
  }
  TextBuffer buffer(text);
  std::istream stream(&buffer);
  boost::property_tree::read_json(stream, *tree_);
}

JsonTree::~JsonTree() = default;
JsonTree::JsonTree(JsonTree&&) noexcept = default;
JsonTree& JsonTree::operator=(JsonTree&&) noexcept = default;

JsonNode JsonTree::Root() const noexcept {
  return JsonNode(*tree_);
}

}  // namespace Kelvar
