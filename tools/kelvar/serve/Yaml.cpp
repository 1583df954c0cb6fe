#include "tools/kelvar/serve/Yaml.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <utility>
#include <vector>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool::Serve {

YamlFile::YamlFile(std::string title, std::string file) : title_(std::move(title)), file_(std::move(file)) {
  std::ifstream input(file_, std::ios::binary);
  std::string content(kMostBytes + 1, '\0');
  if (!input.read(content.data(), static_cast<std::streamsize>(content.size())) && input.gcount() == 0 &&
      !input.eof()) {
    throw ToolError(ExitCode::Usage, title_ + " " + file_ + ": " + std::strerror(errno));
  }
  content.resize(static_cast<std::size_t>(input.gcount()));
  if (content.size() > kMostBytes) {
    throw ToolError(ExitCode::Usage, title_ + " " + file_ + ": more than 16 MiB");
  }
  Parse(content);
}

void YamlFile::Parse(const std::string& content) {
  // The format has none of these, and the parser can fail to end on them.
  const auto control = std::find_if(content.begin(), content.end(), [](char letter) {
    return static_cast<unsigned char>(letter) < ' ' && letter != '\t' && letter != '\n' && letter != '\r';
  });
  if (control != content.end()) {
    Refuse(static_cast<int>(std::count(content.begin(), control, '\n')) + 1, "a control character");
  }
  try {
    const std::vector<YAML::Node> documents = YAML::LoadAll(content);
    if (documents.size() > 1) {
      Refuse(documents[1], "a second document");
    }
    root_ = documents.empty() ? YAML::Node() : documents.front();
  } catch (const YAML::Exception& error) {
    Refuse(error.mark.line + 1, "invalid YAML");
  }
}

void YamlFile::Refuse(int line, const std::string& why) const {
  throw ToolError(ExitCode::Usage, title_ + " " + file_ + ": line " + std::to_string(line) + ": " + why);
}

std::string YamlFile::TextOf(const YAML::Node& node, const std::string& name) const {
  if (!node.IsScalar()) {
    Refuse(node, name + " must be a string");
  }
  return node.Scalar();
}

void YamlFile::ForEachPair(const YAML::Node& mapping, const std::string& name, const Pair& visit) const {
  if (mapping.IsNull()) {
    return;
  }
  if (!mapping.IsMap()) {
    Refuse(mapping, name + " must be a mapping");
  }
  std::set<std::string> known;
  for (const auto& pair : mapping) {
    const std::string key = TextOf(pair.first, "a key");
    if (!known.insert(key).second) {
      Refuse(pair.first, "a key is given twice");
    }
    visit(key, pair.first, pair.second);
  }
}

void YamlFile::ForEachItem(const YAML::Node& list, const std::string& name,
                           const std::function<void(const YAML::Node& item)>& visit) const {
  if (!list.IsSequence()) {
    Refuse(list, name + " must be a list");
  }
  for (const auto& item : list) {
    visit(item);
  }
}

}  // namespace Kelvar::Tool::Serve
