#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "module/nfw/inventory/cim/cimfunc.h"

namespace Kelvar {

using Pegasus::CIMConstProperty;
using Pegasus::CIMInstance;
using Pegasus::Uint32;
using StringArray = Pegasus::Array<Pegasus::String>;

namespace {

std::string TrimmedText(const CIMConstProperty& property) {
  return TrimString(ToText(property.getValue().toString()));
}

/// Reads one property into its entry of the map.
void ReadProperty(const CIMInstance& instance, const std::string& name, std::string& text,
                  std::string (*read)(const CIMConstProperty&)) {
  const Uint32 index = instance.findProperty(Pegasus::CIMName(name.c_str()));
  if (index == PEG_NOT_FOUND) {
    KELVAR_LOG(2) << "Property " << name << " is not found!";
    return;
  }
  const CIMConstProperty property = instance.getProperty(index);
  text = read(property);
  KELVAR_LOG(4) << name << " = " << text << " with raw data (" << ToText(property.getValue().toString()) << ")";
}

void ReadProperties(const CIMInstance& instance, CIMPropertyMap& properties,
                    std::string (*read)(const CIMConstProperty&)) {
  KELVAR_LOG(4) << "Showing properties for " << ToText(instance.getPath().toString());
  for (auto& [name, text] : properties) {
    try {
      ReadProperty(instance, name, text, read);
    } catch (const Pegasus::Exception& exception) {
      const std::string reason = ToText(exception.getMessage());
      KELVAR_LOG(1) << "Get properties from CIM instance failed with the reason: " << reason;
      DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, name, reason);
    }
  }
}

}  // namespace

std::string TrimString(std::string text) {
  constexpr const char* kTrimmed = " \f\n\t\r\v";
  text.erase(text.find_last_not_of(kTrimmed) + 1);
  text.erase(0, text.find_first_not_of(kTrimmed));
  return text;
}

std::string GetCIMPropertyValue(const CIMConstProperty& property) {
  const Uint32 valuesIndex = property.findQualifier("Values");
  const Uint32 mapIndex = property.findQualifier("ValueMap");
  if (valuesIndex == PEG_NOT_FOUND || mapIndex == PEG_NOT_FOUND) {
    return TrimmedText(property);
  }
  KELVAR_LOG(4) << " processing value maps ...";
  const Pegasus::CIMConstQualifier values = property.getQualifier(valuesIndex);
  const Pegasus::CIMConstQualifier map = property.getQualifier(mapIndex);
  if (!values.isArray() || !map.isArray()) {
    return {};
  }
  StringArray numbers;
  StringArray words;
  map.getValue().get(numbers);
  values.getValue().get(words);
  const std::string text = TrimmedText(property);
  for (Uint32 i = 0; i < numbers.size(); ++i) {
    if (ToText(numbers[i]) == text) {
      return ToText(std::as_const(words)[i]);
    }
  }
  return {};
}

void GetPropertiesFromCIMInstance(const CIMInstance& instance, CIMPropertyMap& properties) {
  ReadProperties(instance, properties, GetCIMPropertyValue);
}

void GetPropertiesFromCIMInstance(const CIMInstance& instance, bool rawData, CIMPropertyMap& properties) {
  ReadProperties(instance, properties, rawData ? TrimmedText : GetCIMPropertyValue);
}

}  // namespace Kelvar
