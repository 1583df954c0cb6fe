#include "module/nfw/inventory/cim/CIMFields.h"

#include "common/log/LogMacros.h"

namespace Kelvar {

using Pegasus::Uint32;

std::optional<Pegasus::CIMValue> FindCIMValue(const Pegasus::CIMInstance& instance, const char* property,
                                              const char* missingLine) {
  const Uint32 index = instance.findProperty(property);
  if (index != PEG_NOT_FOUND) {
    return instance.getProperty(index).getValue();
  }
  if (missingLine == nullptr) {
    KELVAR_LOG(4) << "No " << property << " property";
  } else if (*missingLine != '\0') {
    KELVAR_LOG(4) << missingLine;
  }
  return std::nullopt;
}

std::optional<std::string> FindCIMText(const Pegasus::CIMInstance& instance, const char* property,
                                       const char* missingLine) {
  const auto value = FindCIMValue(instance, property, missingLine);
  return value ? std::optional(ToText(value->toString())) : std::nullopt;
}

Pegasus::Array<Pegasus::String> ReadStrings(const Pegasus::CIMValue& value) {
  Pegasus::Array<Pegasus::String> elements;
  if (value.isArray() && !value.isNull()) {
    value.get(elements);
  }
  return elements;
}

}  // namespace Kelvar
