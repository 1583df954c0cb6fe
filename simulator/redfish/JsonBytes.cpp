#include "simulator/redfish/JsonBytes.h"

#include <algorithm>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Kelvar::Simulator::JsonText {

namespace {

constexpr std::string_view kSpace = " \t\r\n";

std::size_t SkipSpace(std::string_view text, std::size_t position) {
  return std::min(text.find_first_not_of(kSpace, position), text.size());
}

/// The values between the brackets of `container`, one by one: for an object keys and values in turn.
std::vector<std::string_view> Values(std::string_view container) {
  std::vector<std::string_view> values;
  std::size_t position = SkipSpace(container, 0) + 1;
  while ((position = std::min(container.find_first_not_of(" \t\r\n,:", position), container.size())) <
         container.size()) {
    if (container[position] == '}' || container[position] == ']') {
      break;
    }
    const std::size_t end = SkipValue(container, position);
    values.push_back(container.substr(position, end - position));
    position = end;
  }
  return values;
}

}  // namespace

std::size_t SkipString(std::string_view text, std::size_t position) {
  for (++position; position < text.size(); ++position) {
    if (text[position] == '\\') {
      ++position;
    } else if (text[position] == '"') {
      return position + 1;
    }
  }
  return text.size();
}

std::size_t SkipValue(std::string_view text, std::size_t position) {
  std::size_t depth = 0;
  while (position < text.size()) {
    const char c = text[position];
    if (c == '"') {
      position = SkipString(text, position);
    } else if (c == '{' || c == '[') {
      ++depth;
      ++position;
    } else if (c == '}' || c == ']') {
      depth -= depth > 0 ? 1 : 0;
      ++position;
    } else {
      const std::size_t end = text.find_first_of("\"{}[],: \t\r\n", position);
      position = std::max(std::min(end, text.size()), position + 1);
    }
    if (depth == 0) {
      return position;
    }
    position = std::min(text.find_first_not_of(" \t\r\n,:", position), text.size());
  }
  return position;
}

std::vector<std::string_view> Elements(std::string_view array) {
  return array.starts_with('[') ? Values(array) : std::vector<std::string_view>{};
}

std::vector<std::pair<std::string_view, std::string_view>> Members(std::string_view object) {
  std::vector<std::pair<std::string_view, std::string_view>> members;
  if (!object.substr(SkipSpace(object, 0)).starts_with('{')) {
    return members;
  }
  const auto values = Values(object);
  for (std::size_t i = 0; i + 1 < values.size(); i += 2) {
    members.emplace_back(String(values[i]).value_or(values[i]), values[i + 1]);
  }
  return members;
}

std::optional<std::string_view> Member(std::string_view object, std::string_view key) {
  for (const auto& [name, value] : Members(object)) {
    if (name == key) {
      return value;
    }
  }
  return std::nullopt;
}

std::optional<std::string_view> String(std::string_view value) {
  if (value.size() < 2 || !value.starts_with('"') || !value.ends_with('"')) {
    return std::nullopt;
  }
  return value.substr(1, value.size() - 2);
}

std::optional<std::string_view> Reference(std::string_view text, std::size_t position) {
  constexpr std::string_view kKey = "\"@odata.id\"";
  const std::size_t name = SkipSpace(text, position + 1);
  const std::size_t colon = SkipSpace(text, name + kKey.size());
  if (text.substr(name, kKey.size()) != kKey || !text.substr(colon).starts_with(':')) {
    return std::nullopt;
  }
  const std::size_t value = SkipSpace(text, colon + 1);
  const std::size_t end = SkipValue(text, value);
  if (!text.substr(SkipSpace(text, end)).starts_with('}')) {
    return std::nullopt;
  }
  return String(text.substr(value, end - value));
}

std::string Replace(std::string_view text, std::string_view part, std::string_view replacement) {
  const auto start = static_cast<std::size_t>(part.data() - text.data());
  std::string replaced(text.substr(0, start));
  replaced.append(replacement).append(text.substr(start + part.size()));
  return replaced;
}

std::string Quote(std::string_view text) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  return {buffer.GetString(), buffer.GetSize()};
}

std::string Escape(std::string_view text) {
  const std::string quoted = Quote(text);
  return quoted.substr(1, quoted.size() - 2);
}

}  // namespace Kelvar::Simulator::JsonText
