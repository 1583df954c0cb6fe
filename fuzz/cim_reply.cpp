// CIM-XML replies of any bytes, in pieces of any size, and what callers do with the instances.

#include <kelvar/Log.h>

#include "fuzz/Check.h"
#include "module/nfw/inventory/cim/MessageLogEntry.h"
#include "module/nfw/inventory/cim/cimfunc.h"
#include "transport/pegasus/ReplyParser.h"

using namespace Kelvar;

namespace {

/// The first byte tells the size of the pieces.
Pegasus::Array<Pegasus::CIMInstance> Parse(std::string_view input) {
  const std::size_t step = input.empty() || input[0] == '<' ? input.size() : static_cast<unsigned char>(input[0]) + 1U;
  Pegasus::Detail::ReplyLimits limits;
  limits.tokenBytes = 4096;
  limits.instances = 1000;
  Pegasus::Detail::ReplyParser parser("1000", limits);
  if (!input.empty() && input[0] != '<') {
    input.remove_prefix(1);
  }
  while (!input.empty()) {
    parser.Feed(input.substr(0, step));
    input.remove_prefix(std::min(step, input.size()));
  }
  return parser.Finish();
}

void ReadValue(const Pegasus::CIMValue& value) {
  const std::string text = ToText(value.toString());
  FUZZ_CHECK(!value.isNull() || value.isArray() || text.empty());
  FUZZ_CHECK(value.isArray() || value.getArraySize() == 0);
  if (value.getType() == Pegasus::CIMTYPE_STRING && value.isArray()) {
    Pegasus::Array<Pegasus::String> elements;
    value.get(elements);
    FUZZ_CHECK(value.isNull() || elements.size() == value.getArraySize());
  }
  if (value.getType() == Pegasus::CIMTYPE_SINT32 && !value.isArray()) {
    Pegasus::Sint32 number = 0;
    value.get(number);
    FUZZ_CHECK(value.isNull() || std::to_string(number) == text);
  }
}

void ReadInstance(const Pegasus::CIMInstance& instance) {
  CIMPropertyMap properties;
  for (Pegasus::Uint32 i = 0; i < instance.getPropertyCount(); ++i) {
    const Pegasus::CIMConstProperty property = instance.getProperty(i);
    FUZZ_CHECK(instance.findProperty(property.getName()) <= i);
    ReadValue(property.getValue());
    properties[ToText(property.getName().getString())];
  }
  GetPropertiesFromCIMInstance(instance, properties);
  KelvarNfw::ZMCMESSAGELOGDATA result;
  try {
    ReadMessageLogEntry(instance, 3, result);
  } catch (const std::bad_cast&) {
  }
  FUZZ_CHECK(ToText(instance.getPath().toString()).size() == instance.getPath().toString().size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Log::SetMinLogLevel(0);
  try {
    const auto instances = Parse({reinterpret_cast<const char*>(data), size});
    for (Pegasus::Uint32 i = 0; i < instances.size(); ++i) {
      try {
        ReadInstance(instances[i]);
      } catch (const Pegasus::TypeMismatchException&) {
      }
    }
  } catch (const Pegasus::Exception& exception) {
    FUZZ_CHECK(exception.getMessage().size() != 0);
  }
  return 0;
}
