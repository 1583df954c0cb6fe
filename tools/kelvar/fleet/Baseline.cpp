#include "tools/kelvar/fleet/Baseline.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include <fmt/format.h>
#include <fnmatch.h>
#include <rapidjson/document.h>

#include "tools/kelvar/Toml.h"

namespace Kelvar::Tool {

namespace {

bool Like(const std::string& pattern, const std::string& text) {
  return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

std::string ContentOf(const std::string& file) {
  std::ifstream input(file);
  std::ostringstream content;
  content << input.rdbuf();
  if (!input) {
    throw ToolError(ExitCode::Usage, "baseline " + file + ": " + std::strerror(errno));
  }
  return content.str();
}

/// The rules as JSON, whichever of the two the file is.
std::string JsonOf(const std::string& file) {
  std::string content = ContentOf(file);
  const std::string_view ending = ".json";
  if (file.size() >= ending.size() && file.compare(file.size() - ending.size(), ending.size(), ending) == 0) {
    return content;
  }
  try {
    std::ostringstream json;
    json << toml::json_formatter{toml::parse(content)};
    return json.str();
  } catch (const toml::parse_error& error) {
    throw ToolError(ExitCode::Usage, fmt::format("baseline {}: invalid TOML in line {}: {}", file,
                                                 error.source().begin.line, error.description()));
  }
}

/// Reads rules; whatever it does not know is a mistake.
class RuleReader {
 public:
  explicit RuleReader(std::string file) : file_(std::move(file)) {}

  std::vector<Baseline::Rule> Read(const std::string& json) const {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
    if (document.HasParseError() || !document.IsObject() || !document.HasMember("rule") ||
        !document["rule"].IsArray() || document.MemberCount() != 1) {
      Refuse("expected a list of rules; write [[rule]]");
    }
    std::vector<Baseline::Rule> rules;
    for (const rapidjson::Value& rule : document["rule"].GetArray()) {
      rules.push_back(RuleOf(rule));
    }
    return rules;
  }

 private:
  [[noreturn]] void Refuse(const std::string& why) const {
    throw ToolError(ExitCode::Usage, "baseline " + file_ + ": " + why);
  }

  std::string Text(const rapidjson::Value& value) const {
    if (!value.IsString()) {
      Refuse("a pattern must be a string");
    }
    return {value.GetString(), value.GetStringLength()};
  }

  Baseline::Rule RuleOf(const rapidjson::Value& object) const {
    Baseline::Rule rule;
    if (!object.IsObject()) {
      Refuse("a rule must be a table");
    }
    for (const auto& [name, value] : object.GetObject()) {
      const std::string key = Text(name);
      if (key == "machine") {
        rule.machine = Text(value);
      } else if (key == "host") {
        rule.host = Text(value);
      } else if (key == "firmware" && value.IsObject()) {
        ReadFields(value, rule);
      } else {
        Refuse("unknown key \"" + key + "\"; use machine, host and the table firmware");
      }
    }
    return rule;
  }

  void ReadFields(const rapidjson::Value& object, Baseline::Rule& rule) const {
    for (const auto& [name, value] : object.GetObject()) {
      auto& [field, patterns] = rule.fields.emplace_back(Text(name), std::vector<std::string>());
      if (!value.IsArray()) {
        patterns.push_back(Text(value));
        continue;
      }
      for (const rapidjson::Value& pattern : value.GetArray()) {
        patterns.push_back(Text(pattern));
      }
    }
  }

  std::string file_;
};

/// Names that a machine is known by.
std::vector<std::string> NamesOf(const StoredReport& report) {
  constexpr std::string_view kFields[] = {"name", "model", "part_number", "sku"};
  std::vector<std::string> names;
  const auto part = report.parts.find("system");
  if (part == report.parts.end()) {
    return names;
  }
  for (const StoredReport::Record& system : part->second.records) {
    for (const auto& [field, value] : system) {
      if (std::find(std::begin(kFields), std::end(kFields), field) != std::end(kFields)) {
        names.push_back(value);
      }
    }
  }
  return names;
}

/// Whether a rule's key means a firmware: by its kind, its name or its id.
bool Means(const std::string& key, const StoredReport::Record& firmware) {
  return key == ValueOf(firmware, "kind") || key == ValueOf(firmware, "name") || key == ValueOf(firmware, "id");
}

bool Fits(const Baseline::Rule& rule, const std::string& host, const std::vector<std::string>& names) {
  const bool machine = rule.machine == "*" || std::any_of(names.begin(), names.end(), [&](const std::string& name) {
                         return Like(rule.machine, name);
                       });
  return machine && Like(rule.host, host);
}

std::string Joined(const std::vector<std::string>& patterns) {
  std::string joined;
  for (const std::string& pattern : patterns) {
    joined += (joined.empty() ? "" : " or ") + pattern;
  }
  return joined;
}

/// What one entry of a rule finds: versions that it does not allow, and firmware that is missing.
void CheckFirmware(const StoredReport& report, const StoredReport::Part& part, const std::string& key,
                   const std::vector<std::string>& patterns, std::vector<Difference>& differences) {
  bool found = false;
  for (const StoredReport::Record& firmware : part.records) {
    if (!Means(key, firmware)) {
      continue;
    }
    found = true;
    const std::string version = ValueOf(firmware, "version");
    const auto allows = [&](const std::string& pattern) { return Like(pattern, version); };
    if (std::none_of(patterns.begin(), patterns.end(), allows)) {
      differences.push_back({Difference::Kind::Deviates, report.target, "firmware", ValueOf(firmware, "id"), key,
                             Joined(patterns), version});
    }
  }
  if (!found) {
    differences.push_back({Difference::Kind::Deviates, report.target, "firmware", "", key, Joined(patterns), ""});
  }
}

}  // namespace

Baseline::Baseline(const std::string& file) : rules_(RuleReader(file).Read(JsonOf(file))) {}

std::vector<Difference> Baseline::Check(const StoredReport& report) const {
  const auto part = report.parts.find("firmware");
  if (part == report.parts.end() || part->second.records.empty()) {
    const std::string& status = part == report.parts.end() ? report.status : part->second.status;
    return {{Difference::Kind::Unread, report.target, "firmware", "", "", "", status}};
  }
  const std::string host = ParseTarget(report.target).info.Host;
  const std::vector<std::string> names = NamesOf(report);
  std::vector<Difference> differences;
  std::set<std::string> decided;
  for (const Rule& rule : rules_) {
    if (!Fits(rule, host, names)) {
      continue;
    }
    for (const auto& [key, patterns] : rule.fields) {
      if (decided.insert(key).second) {
        CheckFirmware(report, part->second, key, patterns, differences);
      }
    }
  }
  if (decided.empty()) {
    differences.push_back({Difference::Kind::NoRule, report.target, "", "", "", "", ""});
  }
  return differences;
}

}  // namespace Kelvar::Tool
