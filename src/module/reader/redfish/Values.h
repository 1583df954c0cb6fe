#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/Types.h>

#include "common/json/JsonDocument.h"
#include "module/reader/text/ModelText.h"

namespace Kelvar::Reader {

// Values of resources as the model holds them. A missing value, one of the wrong type and a placeholder are absent. A
// number serves as text, and a text that is wholly a decimal number as a number.

/// The value at a path of names with "/" between them; nothing where there is none.
JsonValue At(JsonValue object, std::string_view path);

/// Without blanks at its ends; empty for a placeholder.
std::string TextAt(JsonValue object, std::string_view path);
/// The same, but no word is a placeholder: for messages.
std::string MessageAt(JsonValue object, std::string_view path);
std::optional<double> NumberAt(JsonValue object, std::string_view path);
/// Only one above 0.
std::optional<double> PositiveAt(JsonValue object, std::string_view path);
/// The same, of a size in MiB; some services write a unit after the number, which counts then.
std::optional<double> MebibytesAt(JsonValue object, std::string_view path);
std::optional<bool> BoolAt(JsonValue object, std::string_view path);
std::optional<u32> CountAt(JsonValue object, std::string_view path);
/// The "@odata.id" of the object at the path, or the text itself; empty without.
std::string LinkAt(JsonValue object, std::string_view path);

/// When the log entry was made, as DateTime() gives it.
std::string CreatedAt(JsonValue entry);

/// Of an enumeration: no number.
std::string WordAt(JsonValue object, std::string_view path);

/// The first elements of an array: a short response can hold very many.
std::vector<JsonValue> FirstOf(JsonValue array, std::size_t most);
/// Of what a resource has few of: its addresses, the arguments of a message.
constexpr std::size_t kMostDetails = 64;

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

}  // namespace Kelvar::Reader
