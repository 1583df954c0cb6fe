#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/Types.h>

#include "common/json/JsonDocument.h"

namespace Kelvar::Reader {

// Values of resources as the model holds them. A missing value, one of the wrong type and a placeholder are absent.

/// The value at a path of names with "/" between them; nothing where there is none.
JsonValue At(JsonValue object, std::string_view path);

/// A text without blanks at its ends; empty for what says nothing, such as "N/A" or "To be filled by O.E.M.".
std::string CleanText(std::string_view text);
std::string TextAt(JsonValue object, std::string_view path);
/// The same, but no word is a placeholder: for messages.
std::string MessageAt(JsonValue object, std::string_view path);
std::optional<double> NumberAt(JsonValue object, std::string_view path);
/// Only one above 0.
std::optional<double> PositiveAt(JsonValue object, std::string_view path);
std::optional<bool> BoolAt(JsonValue object, std::string_view path);
std::optional<u32> CountAt(JsonValue object, std::string_view path);
/// The "@odata.id" of the object at the path, or the text itself; empty without.
std::string LinkAt(JsonValue object, std::string_view path);

/// "StandbyOffline" -> "standby_offline"; empty for what is no word.
std::string Word(std::string_view camelCase);
std::string WordAt(JsonValue object, std::string_view path);

/// A date and time with zone as it came, if it is a valid one of a set clock; else empty.
std::string DateTime(std::string_view text);
/// The same, and also a date alone or without a zone.
std::string Date(std::string_view text);
/// Seconds since 1970 of what DateTime() gave; nothing for an empty text.
std::optional<double> Instant(std::string_view dateTime);

/// State and health of a resource; what is absent has no health.
struct Status {
  std::string state;
  std::string health;
  std::string healthText;
};
Status StatusOf(JsonValue resource);

template <typename Record>
void TakeStatus(Record& record, JsonValue resource) {
  Status status = StatusOf(resource);
  record.state = std::move(status.state);
  record.health = std::move(status.health);
  record.health_text = std::move(status.healthText);
}

/// "aa:bb:cc:dd:ee:ff"; empty for what is no address, or the zero address.
std::string MacAddress(std::string_view text);

}  // namespace Kelvar::Reader
