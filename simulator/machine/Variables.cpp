#include "simulator/machine/Variables.h"

#include <fstream>
#include <stdexcept>

#include <rapidjson/document.h>
#include <rapidjson/istreamwrapper.h>

namespace Kelvar::Simulator {

namespace {

using ByPath = std::map<std::string, std::string, std::less<>>;

void Flatten(const rapidjson::Value& object, const std::string& prefix, ByPath& into) {
  for (const auto& [name, value] : object.GetObject()) {
    const std::string path = prefix + name.GetString();
    if (value.IsObject()) {
      Flatten(value, path + '.', into);
    } else if (value.IsString()) {
      into.emplace(path, std::string(value.GetString(), value.GetStringLength()));
    }
  }
}

}  // namespace

Variables Variables::Load(const std::filesystem::path& machineJson) {
  std::ifstream file(machineJson);
  rapidjson::IStreamWrapper stream(file);
  rapidjson::Document document;
  // numbers keep their own words
  document.ParseStream<rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag>(stream);
  if (document.HasParseError() || !document.IsObject()) {
    throw std::runtime_error(machineJson.string() + ": no JSON object");
  }
  ByPath byPath;
  if (const auto facts = document.FindMember("facts"); facts != document.MemberEnd() && facts->value.IsObject()) {
    Flatten(facts->value, "", byPath);
  }
  return Variables(std::move(byPath));
}

std::string Variables::Expand(std::string_view text, Escape escape) const {
  std::string expanded;
  for (std::size_t start = text.find("${"); start != text.npos; start = text.find("${")) {
    const std::size_t end = text.find('}', start);
    const std::string_view path = text.substr(start + 2, end == text.npos ? text.npos : end - start - 2);
    const auto fact = byPath_.find(path);
    if (end == text.npos || fact == byPath_.end()) {
      throw std::runtime_error("machine.json: no fact \"" + std::string(path) + '"');
    }
    expanded.append(text.substr(0, start)).append(escape(fact->second));
    text.remove_prefix(end + 1);
  }
  return expanded.append(text);
}

}  // namespace Kelvar::Simulator
