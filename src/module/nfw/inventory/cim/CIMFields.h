#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "module/nfw/inventory/cim/cimfunc.h"

namespace Kelvar {

/// One row of a field table: a property, and how its value gets into the record. A missing property leaves the field
/// as it is and logs "No ", the property and " property", or the line of the row.
template <typename Record>
struct CIMField {
  const char* property;
  void (*read)(const Pegasus::CIMValue& value, Record& record);
  const char* missingLine = nullptr;
};

/// The line of a row whose property may be missing silently.
inline constexpr const char* kSilent = "";

/// None when the instance lacks the property, with a line in the log.
std::optional<Pegasus::CIMValue> FindCIMValue(const Pegasus::CIMInstance& instance, const char* property,
                                              const char* missingLine = nullptr);

/// The text of a property as the library prints it, untrimmed.
std::optional<std::string> FindCIMText(const Pegasus::CIMInstance& instance, const char* property,
                                       const char* missingLine = nullptr);

template <typename Record>
void ReadCIMField(const Pegasus::CIMInstance& instance, const CIMField<Record>& field, Record& record) {
  if (const auto value = FindCIMValue(instance, field.property, field.missingLine)) {
    field.read(*value, record);
  }
}

template <typename Record, std::size_t N>
void ReadCIMFields(const Pegasus::CIMInstance& instance, const CIMField<Record> (&fields)[N], Record& record) {
  for (const CIMField<Record>& field : fields) {
    ReadCIMField(instance, field, record);
  }
}

// What rows read with.

template <auto Member, typename Record>
void ReadText(const Pegasus::CIMValue& value, Record& record) {
  record.*Member = ToText(value.toString());
}

/// A Uint16 as its word; `WordOf` gets none for a null value.
template <auto Member, auto WordOf, typename Record>
void ReadWord(const Pegasus::CIMValue& value, Record& record) {
  Pegasus::Uint16 number = 0;
  value.get(number);
  record.*Member = WordOf(value.isNull() ? std::nullopt : std::optional<u16>(number));
}

/// A Sint32; null counts as 0.
template <auto Member, typename Record>
void ReadFloat(const Pegasus::CIMValue& value, Record& record) {
  Pegasus::Sint32 number = 0;
  value.get(number);
  record.*Member = static_cast<float>(number);
}

/// The elements of an array of strings; none when the value is null or no array.
Pegasus::Array<Pegasus::String> ReadStrings(const Pegasus::CIMValue& value);

}  // namespace Kelvar
