#pragma once

#include <string>
#include <type_traits>

#include <kelvar/Types.h>

#include "common/json/JsonDocument.h"
#include "common/json/JsonText.h"
#include "common/json/JsonTree.h"
#include "common/log/LogMacros.h"

namespace Kelvar {

/// A text of a record, and the path at which the tree reader finds it. A missing one gives "Unknown".
template <typename Record>
struct TreeField {
  const char* path;
  std::string Record::*member;
};

constexpr const char* kUnknown = "Unknown";

template <typename Record, typename Rows>
void LoadFields(const JsonNode& node, const Rows& rows, Record& record) {
  for (const TreeField<Record>& row : rows) {
    record.*row.member = node.Text(row.path, kUnknown);
  }
}

/// The same from a text that is read in place.
template <typename Record, typename Rows>
void LoadFields(const JsonMembers& members, const Rows& rows, Record& record) {
  for (const TreeField<Record>& row : rows) {
    const auto found = members.Find(row.path);
    record.*row.member = found ? found->Text() : kUnknown;
  }
}

/// A text of a record, and the member of a document's object that holds it. An absent member leaves the text alone.
template <typename Record>
struct DocumentField {
  const char* key;
  std::string Record::*member;
  const char* whenEmpty = nullptr;  ///< in place of an empty string
  const char* whenNull = nullptr;   ///< in place of null, which is a wrong type otherwise
  u32 level = 4;
  const char* label = nullptr;  ///< when not null: a log line of this text and the value
};

/// Loads what is a string; returns the key of the first member that is of a wrong type, null when there is none.
template <typename Record, typename Rows>
const char* LoadFields(const JsonValue& object, const Rows& rows, Record& record) {
  const char* wrong = nullptr;
  for (const DocumentField<Record>& row : rows) {
    const JsonValue value = object[row.key];
    auto text = value.IsNull() && row.whenNull != nullptr ? std::string(row.whenNull) : value.String();
    if (!text) {
      wrong = value && wrong == nullptr ? row.key : wrong;
      continue;
    }
    if (text->empty() && row.whenEmpty != nullptr) {
      *text = row.whenEmpty;
    }
    if (row.label != nullptr) {
      KELVAR_LOG(row.level) << row.label << *text;
    }
    record.*row.member = std::move(*text);
  }
  return wrong;
}

}  // namespace Kelvar
