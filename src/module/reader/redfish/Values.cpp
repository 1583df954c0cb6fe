#include "module/reader/redfish/Values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace Kelvar::Reader {

namespace {

/// A text, or a number as it is written without an exponent: some services do not quote serial numbers and versions.
std::string TextOf(JsonValue value) {
  constexpr double kMost = 1e15;
  const auto number = value.Double();
  if (!number || std::fabs(*number) > kMost) {
    return value.String().value_or("");
  }
  std::array<char, 512> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), *number, std::chars_format::fixed);
  return {text.data(), end.ptr};
}

/// The number that a text wholly is: some services quote them.
std::optional<double> NumberOf(const std::string& text) {
  const std::string digits = CleanText(text);
  if (digits.empty() || digits.find_first_not_of("0123456789.-") != std::string::npos) {
    return std::nullopt;
  }
  double number = 0;
  const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), number, std::chars_format::fixed);
  const bool whole = end.ec == std::errc() && end.ptr == digits.data() + digits.size();
  return whole ? std::optional<double>(number) : std::nullopt;
}

bool IsHealth(const std::string& lower) {
  return lower == "ok" || lower == "warning" || lower == "critical";
}

/// Some services write a word in place of an object.
Status StatusOfWord(const std::string& word) {
  constexpr std::array<std::string_view, 13> kStates = {
      "enabled",  "disabled",  "standby_offline", "standby_spare",       "in_test",
      "starting", "absent",    "updating",        "unavailable_offline", "deferring",
      "quiesced", "qualified", "degraded"};
  Status status;
  const std::string state = Word(word);
  if (std::find(kStates.begin(), kStates.end(), state) != kStates.end()) {
    status.state = state;
  } else if (IsHealth(Lower(word))) {
    status.health = Lower(word);
  } else {
    status.healthText = word;
  }
  return status;
}

}  // namespace

JsonValue At(JsonValue object, std::string_view path) {
  while (object && !path.empty()) {
    const auto slash = path.find('/');
    object = object[std::string(path.substr(0, slash)).c_str()];
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
  }
  return object;
}

std::string TextAt(JsonValue object, std::string_view path) {
  return CleanText(TextOf(At(object, path)));
}

std::string MessageAt(JsonValue object, std::string_view path) {
  return std::string(Trim(TextOf(At(object, path))));
}

std::optional<double> NumberAt(JsonValue object, std::string_view path) {
  const JsonValue value = At(object, path);
  const auto number = value.Double();
  return number ? number : NumberOf(value.String().value_or(""));
}

std::optional<double> PositiveAt(JsonValue object, std::string_view path) {
  const auto number = NumberAt(object, path);
  return number && *number > 0 ? number : std::nullopt;
}

std::optional<double> MebibytesAt(JsonValue object, std::string_view path) {
  struct Unit {
    std::string_view name;
    double mebibytes;
  };
  constexpr std::array<Unit, 4> kUnits = {{{"mib", 1}, {"mb", 1}, {"gib", 1024}, {"gb", 1024}}};
  const std::string text = Lower(TextAt(object, path));
  for (const Unit& unit : kUnits) {
    if (text.ends_with(unit.name)) {
      const auto number = NumberOf(text.substr(0, text.size() - unit.name.size()));
      return number && *number > 0 ? std::optional<double>(*number * unit.mebibytes) : std::nullopt;
    }
  }
  return PositiveAt(object, path);
}

std::optional<bool> BoolAt(JsonValue object, std::string_view path) {
  const JsonValue value = At(object, path);
  const std::string word = Lower(value.String().value_or(""));
  return word == "true" || word == "false" ? std::optional<bool>(word == "true") : value.Bool();
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

std::string CreatedAt(JsonValue entry) {
  std::string created = DateTime(TextAt(entry, "Created"));
  return created.empty() ? DateTime(TextAt(entry, "EventTimestamp")) : created;
}

std::string WordAt(JsonValue object, std::string_view path) {
  return Word(CleanText(At(object, path).String().value_or("")));
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
  if (const auto word = told.String()) {
    return StatusOfWord(CleanText(*word));
  }
  Status status;
  status.state = WordAt(told, "State");
  std::string word;
  for (const char* const property : {"Health", "HealthRollup", "HealthRollUp"}) {  // the last one is a former spelling
    word = word.empty() ? CleanText(told[property].String().value_or("")) : word;
  }
  if (word.empty() || status.state == "absent") {
    return status;
  }
  const std::string lower = Lower(word);
  if (IsHealth(lower)) {
    status.health = lower;
  } else {
    status.healthText = word;
  }
  for (const JsonValue condition : FirstOf(told["Conditions"], kMostDetails)) {
    const bool isReason = status.health != "ok" && Lower(TextAt(condition, "Severity")) == status.health;
    if (isReason && status.healthText.empty()) {
      status.healthText = MessageAt(condition, "Message");
    }
  }
  return status;
}

}  // namespace Kelvar::Reader
