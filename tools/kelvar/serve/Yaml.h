#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include <yaml-cpp/yaml.h>

namespace Kelvar::Tool::Serve {

/// A file in YAML, of which JSON is a part. Errors name file and line, never the text there, which may be a secret.
/// Everything throws ToolError (usage) for what is not as expected.
class YamlFile {
 public:
  static constexpr std::size_t kMostBytes = std::size_t{16} << 20;

  /// Reads one document. `title` begins the errors, such as "list of targets".
  YamlFile(std::string title, std::string file);

  const YAML::Node& Root() const { return root_; }

  static int LineOf(const YAML::Node& node) { return node.Mark().line + 1; }
  [[noreturn]] void Refuse(int line, const std::string& why) const;
  [[noreturn]] void Refuse(const YAML::Node& at, const std::string& why) const { Refuse(LineOf(at), why); }

  std::string TextOf(const YAML::Node& node, const std::string& name) const;

  /// Calls `visit` for each pair of a mapping, whose keys are strings that are there once. Nothing for an empty node.
  using Pair = std::function<void(const std::string& key, const YAML::Node& at, const YAML::Node& value)>;
  void ForEachPair(const YAML::Node& mapping, const std::string& name, const Pair& visit) const;

  void ForEachItem(const YAML::Node& list, const std::string& name,
                   const std::function<void(const YAML::Node& item)>& visit) const;

 private:
  void Parse(const std::string& content);

  const std::string title_;
  const std::string file_;
  YAML::Node root_;
};

}  // namespace Kelvar::Tool::Serve
