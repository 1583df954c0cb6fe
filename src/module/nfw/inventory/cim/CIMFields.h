#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "module/nfw/inventory/cim/cimfunc.h"

namespace Kelvar {

/// How a value gets into a record, and the text that it fills; null when it fills none.
template <typename Record>
struct CIMValueReader {
  using Function = void (*)(const Pegasus::CIMValue& value, Record& record);
  using TextField = std::string Record::*;

  constexpr CIMValueReader(Function readFunction, TextField filledText) : read(readFunction), text(filledText) {}

  Function read;
  TextField text;
};

/// One row of a field table. A missing property leaves the field as it is and logs "No ", the property and
/// " property", or the line of the row.
template <typename Record>
struct CIMField {
  const char* property;
  CIMValueReader<Record> reader;
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

template <typename Record, std::size_t N>
void ReadCIMFields(const Pegasus::CIMInstance& instance, const CIMField<Record> (&fields)[N], Record& record) {
  for (const CIMField<Record>& field : fields) {
    if (const auto value = FindCIMValue(instance, field.property, field.missingLine)) {
      field.reader.read(*value, record);
    }
  }
}

/// The texts that field tables fill, each once.
template <typename Record, std::size_t MaxSize>
class CIMTexts {
 public:
  using TextField = std::string Record::*;

  template <std::size_t N>
  constexpr void Add(const CIMField<Record> (&fields)[N]) {
    for (const CIMField<Record>& field : fields) {
      const auto end = texts_.begin() + size_;
      if (field.reader.text != nullptr && std::find(texts_.begin(), end, field.reader.text) == end) {
        texts_[size_++] = field.reader.text;
      }
    }
  }
  constexpr std::span<const TextField> View() const { return {texts_.data(), size_}; }

 private:
  std::array<TextField, MaxSize> texts_{};
  std::size_t size_ = 0;
};

/// The texts of all tables that a record is read with.
template <typename Record, std::size_t... N>
constexpr auto TextsOf(const CIMField<Record> (&... tables)[N]) {
  CIMTexts<Record, (N + ...)> texts;
  (texts.Add(tables), ...);
  return texts;
}

template <typename Member>
struct RecordOfMember;
template <typename Record, typename Value>
struct RecordOfMember<Value Record::*> {
  using Type = Record;
};
template <auto Member>
using RecordOf = typename RecordOfMember<decltype(Member)>::Type;

// What rows read with.

template <auto Member>
inline constexpr CIMValueReader<RecordOf<Member>> kText = {
    [](const Pegasus::CIMValue& value, RecordOf<Member>& record) { record.*Member = ToText(value.toString()); },
    Member};

/// A Uint16 as its word; `WordOf` gets none for a null value.
template <auto Member, auto WordOf>
inline constexpr CIMValueReader<RecordOf<Member>> kWord = {
    [](const Pegasus::CIMValue& value, RecordOf<Member>& record) {
      Pegasus::Uint16 number = 0;
      value.get(number);
      record.*Member = WordOf(value.isNull() ? std::nullopt : std::optional<u16>(number));
    },
    Member};

/// A Sint32; null counts as 0.
template <auto Member>
inline constexpr CIMValueReader<RecordOf<Member>> kFloat = {
    [](const Pegasus::CIMValue& value, RecordOf<Member>& record) {
      Pegasus::Sint32 number = 0;
      value.get(number);
      record.*Member = static_cast<float>(number);
    },
    nullptr};

/// The elements of an array of strings; none when the value is null or no array.
Pegasus::Array<Pegasus::String> ReadStrings(const Pegasus::CIMValue& value);

}  // namespace Kelvar
