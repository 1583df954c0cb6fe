#include "module/reader/redfish/Values.h"

#include <cmath>

namespace Kelvar::Reader {

JsonValue At(JsonValue object, std::string_view path) {
  while (object && !path.empty()) {
    const auto slash = path.find('/');
    object = object[std::string(path.substr(0, slash)).c_str()];
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
  }
  return object;
}

std::string TextAt(JsonValue object, std::string_view path) {
  return CleanText(At(object, path).String().value_or(""));
}

std::string MessageAt(JsonValue object, std::string_view path) {
  return std::string(Trim(At(object, path).String().value_or("")));
}

std::optional<double> NumberAt(JsonValue object, std::string_view path) {
  return At(object, path).Double();
}

std::optional<double> PositiveAt(JsonValue object, std::string_view path) {
  const auto number = NumberAt(object, path);
  return number && *number > 0 ? number : std::nullopt;
}

std::optional<bool> BoolAt(JsonValue object, std::string_view path) {
  return At(object, path).Bool();
}

std::optional<u32> CountAt(JsonValue object, std::string_view path) {
  const auto number = PositiveAt(object, path);
  if (!number || *number > 4e9 || std::floor(*number) != *number) {
    return std::nullopt;
  }
  return static_cast<u32>(*number);
}

std::string LinkAt(JsonValue object, std::string_view path) {
  const JsonValue value = At(object, path);
  return value["@odata.id"].String().value_or(value.String().value_or(""));
}

std::string WordAt(JsonValue object, std::string_view path) {
  return Word(TextAt(object, path));
}

std::vector<JsonValue> FirstOf(JsonValue array, std::size_t most) {
  std::vector<JsonValue> elements = array.Elements();
  if (elements.size() > most) {
    elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(most), elements.end());
  }
  return elements;
}

Status StatusOf(JsonValue resource) {
  const JsonValue told = resource["Status"];
  Status status;
  status.state = WordAt(told, "State");
  const std::string word = TextAt(told, "Health");
  if (word.empty() || status.state == "absent") {
    return status;
  }
  const std::string lower = Lower(word);
  if (lower == "ok" || lower == "warning" || lower == "critical") {
    status.health = lower;
  } else {
    status.healthText = word;
  }
  return status;
}

}  // namespace Kelvar::Reader
