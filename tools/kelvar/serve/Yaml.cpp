#include "tools/kelvar/serve/Yaml.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <utility>

#include <yaml-cpp/anchor.h>
#include <yaml-cpp/eventhandler.h>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool::Serve {

namespace {

/// Counts documents, and takes nothing of them.
class DocumentCounter : public YAML::EventHandler {
 public:
  void OnDocumentStart(const YAML::Mark& mark) override {
    ++count;
    line = mark.line + 1;
  }
  void OnDocumentEnd() override {}
  void OnNull(const YAML::Mark& /*mark*/, YAML::anchor_t /*anchor*/) override {}
  void OnAlias(const YAML::Mark& /*mark*/, YAML::anchor_t /*anchor*/) override {}
  void OnScalar(const YAML::Mark& /*mark*/, const std::string& /*tag*/, YAML::anchor_t /*anchor*/,
                const std::string& /*value*/) override {}
  void OnSequenceStart(const YAML::Mark& /*mark*/, const std::string& /*tag*/, YAML::anchor_t /*anchor*/,
                       YAML::EmitterStyle::value /*style*/) override {}
  void OnSequenceEnd() override {}
  void OnMapStart(const YAML::Mark& /*mark*/, const std::string& /*tag*/, YAML::anchor_t /*anchor*/,
                  YAML::EmitterStyle::value /*style*/) override {}
  void OnMapEnd() override {}

  int count = 0;
  int line = 0;  ///< of the last one
};

/// 0 when there is none. The parser can find documents without end in a malformed file: the second one is enough.
int LineOfSecondDocument(const std::string& content) {
  std::istringstream input(content);
  YAML::Parser parser(input);
  DocumentCounter documents;
  while (documents.count < 2 && parser.HandleNextDocument(documents)) {
  }
  return documents.count > 1 ? documents.line : 0;
}

}  // namespace

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
    if (const int line = LineOfSecondDocument(content); line > 0) {
      Refuse(line, "a second document");
    }
    root_ = YAML::Load(content);
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
