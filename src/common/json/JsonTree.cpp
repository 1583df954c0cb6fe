#include "common/json/JsonTree.h"

#include <istream>
#include <streambuf>
#include <string_view>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "common/json/JsonText.h"

namespace Kelvar {

using boost::property_tree::ptree;
using boost::property_tree::ptree_bad_path;

namespace {

/// Lets a stream read the text in place: a string stream would copy it.
class TextBuffer : public std::streambuf {
 public:
  explicit TextBuffer(std::string_view text) {
    char* start = const_cast<char*>(text.data());  // a get area is never written to
    setg(start, start, start + text.size());
  }
};

}  // namespace

std::string JsonNode::Value() const {
  return node_ != nullptr ? node_->data() : (*tokens_)[index_].Text();
}

std::optional<JsonNode> JsonNode::Find(std::string_view name) const {
  if (node_ != nullptr) {
    const auto found = node_->find(std::string(name));
    return found == node_->not_found() ? std::nullopt : std::optional<JsonNode>(found->second);
  }
  if ((*tokens_)[index_].kind != JsonToken::Kind::Object) {
    return std::nullopt;
  }
  const std::size_t end = (*tokens_)[index_].next;
  for (std::size_t child = index_ + 1; child != end; child = (*tokens_)[child].next) {
    if ((*tokens_)[child].Name() == name) {
      return JsonNode(*tokens_, child);
    }
  }
  return std::nullopt;
}

std::optional<JsonNode> JsonNode::FindPath(const char* path) const {
  std::optional<JsonNode> node = *this;
  for (std::string_view rest = path; node; rest.remove_prefix(rest.find('.') + 1)) {
    const auto dot = rest.find('.');
    node = node->Find(rest.substr(0, dot));
    if (dot == std::string_view::npos) {
      break;
    }
  }
  return node;
}

JsonNode JsonNode::Child(const char* path) const {
  const auto found = FindPath(path);
  if (!found) {
    throw ptree_bad_path("No such node", boost::property_tree::path(path));
  }
  return *found;
}

std::string JsonNode::Text(const char* path, const char* missing) const {
  const auto found = FindPath(path);
  return found ? found->Value() : missing;
}

std::vector<JsonNode> JsonNode::Children() const {
  std::vector<JsonNode> children;
  if (node_ != nullptr) {
    children.reserve(node_->size());
    for (const auto& [name, child] : *node_) {
      children.emplace_back(child);
    }
    return children;
  }
  const std::size_t end = (*tokens_)[index_].next;
  for (std::size_t child = index_ + 1; child != end; child = (*tokens_)[child].next) {
    children.emplace_back(*tokens_, child);
  }
  return children;
}

JsonTree::JsonTree() = default;
JsonTree::~JsonTree() = default;
JsonTree::JsonTree(JsonTree&&) noexcept = default;
JsonTree& JsonTree::operator=(JsonTree&&) noexcept = default;

JsonTree::JsonTree(const std::string& text, const JsonLimits& limits)
    : tokens_(std::make_unique<std::vector<JsonToken>>()) {
  if (!ReadPlainJson(text, limits, *tokens_)) {
    *this = ByParser(text, limits);
  }
}

JsonTree JsonTree::ByParser(const std::string& text, const JsonLimits& limits) {
  if (const char* excess = CheckJsonLimits(text, limits)) {
    throw boost::property_tree::json_parser_error(excess, "", 0);
  }
  JsonTree tree;
  tree.tree_ = std::make_unique<ptree>();
  TextBuffer buffer(text);
  std::istream stream(&buffer);
  boost::property_tree::read_json(stream, *tree.tree_);
  return tree;
}

JsonNode JsonTree::Root() const noexcept {
  return tree_ ? JsonNode(*tree_) : JsonNode(*tokens_, 0);
}

}  // namespace Kelvar
