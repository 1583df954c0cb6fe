#include "tools/kelvar/serve/TargetsFile.h"

#include <algorithm>

#include "tools/kelvar/JsonWriter.h"
#include "tools/kelvar/serve/Prober.h"
#include "tools/kelvar/serve/Yaml.h"

namespace Kelvar::Tool::Serve {

namespace {

bool IsLabelName(const std::string& name) {
  const auto isLetter = [](char one) { return (one >= 'a' && one <= 'z') || (one >= 'A' && one <= 'Z') || one == '_'; };
  return !name.empty() && isLetter(name.front()) &&
         std::all_of(name.begin(), name.end(), [&](char one) { return isLetter(one) || (one >= '0' && one <= '9'); });
}

std::string AddressOf(const YamlFile& file, const YAML::Node& node) {
  std::string address = file.TextOf(node, "a target");
  try {
    ProbedTarget(address);
  } catch (const Refusal& refusal) {
    file.Refuse(node, refusal.what());
  }
  return address;
}

void ReadLabels(const YamlFile& file, const YAML::Node& node, TargetGroup& group) {
  file.ForEachPair(node, "labels", [&](const std::string& name, const YAML::Node& at, const YAML::Node& text) {
    if (!IsLabelName(name)) {
      file.Refuse(at, "invalid name of a label");
    }
    group.labels[name] = file.TextOf(text, "the value of a label");
  });
}

TargetGroup GroupOf(const YamlFile& file, const YAML::Node& node) {
  TargetGroup group;
  file.ForEachPair(node, "a group", [&](const std::string& key, const YAML::Node& at, const YAML::Node& value) {
    if (key == "targets") {
      file.ForEachItem(value, key, [&](const YAML::Node& one) { group.targets.push_back(AddressOf(file, one)); });
    } else if (key == "labels") {
      ReadLabels(file, value, group);
    } else {
      file.Refuse(at, "unknown key; use targets and labels");
    }
  });
  return group;
}

}  // namespace

std::vector<TargetGroup> ReadTargetsFile(const std::string& file) {
  const YamlFile yaml("list of targets", file);
  std::vector<TargetGroup> groups;
  if (!yaml.Root().IsNull()) {
    yaml.ForEachItem(yaml.Root(), "the file", [&](const YAML::Node& group) { groups.push_back(GroupOf(yaml, group)); });
  }
  return groups;
}

std::string DiscoveryText(const std::vector<TargetGroup>& groups) {
  JsonBuffer buffer;
  CompactJson writer(buffer);
  writer.StartArray();
  for (const TargetGroup& group : groups) {
    writer.StartObject();
    writer.Key("targets");
    writer.StartArray();
    for (const std::string& target : group.targets) {
      WriteText(writer, target);
    }
    writer.EndArray();
    writer.Key("labels");
    writer.StartObject();
    for (const auto& [name, value] : group.labels) {
      WriteMember(writer, name.c_str(), value);
    }
    writer.EndObject();
    writer.EndObject();
  }
  writer.EndArray();
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

}  // namespace Kelvar::Tool::Serve
