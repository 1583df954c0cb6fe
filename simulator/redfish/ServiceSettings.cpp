#include "simulator/redfish/ServiceSettings.h"

#include <stdexcept>

#include "simulator/machine/JsonFile.h"

namespace Kelvar::Simulator {

namespace {

ExpandSupport SupportOf(const rapidjson::Value& value) {
  const std::string word = value.IsString() ? value.GetString() : "";
  if (word == "supported") {
    return ExpandSupport::Supported;
  }
  if (word == "refused") {
    return ExpandSupport::Refused;
  }
  if (word == "ignored") {
    return ExpandSupport::Ignored;
  }
  throw std::runtime_error("\"expand\" is \"supported\", \"refused\" or \"ignored\"");
}

std::size_t CountOf(const rapidjson::Value& value) {
  if (!value.IsUint()) {
    throw std::runtime_error("a count must be a number");
  }
  return value.GetUint();
}

void ReadSessions(const rapidjson::Value& value, ServiceSettings& settings) {
  settings.sessionsPath = Json::Text(value, "path", settings.sessionsPath);
  settings.absoluteLocation = Json::Flag(value, "absoluteLocation");
  if (Json::Find(value, "limit") != nullptr) {
    settings.sessions.count = Json::Number(value, "limit");
  }
  if (Json::Find(value, "timeout") != nullptr) {
    settings.sessions.idle = std::chrono::seconds(Json::Number(value, "timeout"));
  }
}

void ReadKey(const std::string& key, const rapidjson::Value& value, ServiceSettings& settings) {
  if (key == "expand") {
    settings.queries.expand = SupportOf(value);
  } else if (key == "expandLevels") {
    settings.queries.expandLevels = static_cast<unsigned>(CountOf(value));
  } else if (key == "queries" && value.IsString() && std::string_view(value.GetString()) == "ignored") {
    settings.queries.ignored = true;
  } else if (key == "unknownQueries" && value.IsString() && std::string_view(value.GetString()) == "ignored") {
    settings.queries.unknownIgnored = true;
  } else if (key == "anyCase" && value.IsBool()) {
    settings.anyCase = value.GetBool();
  } else if (key == "loginForRoot" && value.IsBool()) {
    settings.loginForRoot = value.GetBool();
  } else if (key == "sessions" && value.IsObject()) {
    ReadSessions(value, settings);
  } else if (key == "pageSize" && value.IsObject()) {
    for (const auto& page : value.GetObject()) {
      settings.pageSize[page.name.GetString()] = CountOf(page.value);
    }
  } else if (key == "logEntries") {
    settings.logEntries = CountOf(value);
  } else if (key == "sensors") {
    settings.sensors = CountOf(value);
  } else {
    throw std::runtime_error("unknown or wrong: \"" + key + '"');
  }
}

}  // namespace

ServiceSettings ReadSettings(const std::filesystem::path& file) {
  ServiceSettings settings;
  if (!std::filesystem::exists(file)) {
    return settings;
  }
  const rapidjson::Document document = Json::ReadObject(file);
  for (const auto& member : document.GetObject()) {
    try {
      ReadKey(member.name.GetString(), member.value, settings);
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(file.string() + ": " + error.what());
    }
  }
  return settings;
}

}  // namespace Kelvar::Simulator
