#include "transport/pegasus/ReplyElements.h"

#include <array>
#include <cstddef>

namespace Pegasus::Detail {

namespace {

struct Row {
  Element parent;
  std::string_view name;
  Element element;
};

/// In the order of the parents.
constexpr std::array kRows = {
    Row{Element::Document, "CIM", Element::Cim},
    Row{Element::Cim, "MESSAGE", Element::Message},
    Row{Element::Message, "SIMPLERSP", Element::SimpleResponse},
    Row{Element::SimpleResponse, "IMETHODRESPONSE", Element::MethodResponse},
    Row{Element::MethodResponse, "IRETURNVALUE", Element::ReturnValue},
    Row{Element::MethodResponse, "ERROR", Element::Error},
    Row{Element::ReturnValue, "VALUE.NAMEDINSTANCE", Element::NamedInstance},
    Row{Element::ReturnValue, "VALUE.INSTANCEWITHPATH", Element::NamedInstance},
    Row{Element::ReturnValue, "INSTANCE", Element::Instance},
    Row{Element::NamedInstance, "INSTANCENAME", Element::InstanceName},
    Row{Element::NamedInstance, "INSTANCE", Element::Instance},
    Row{Element::NamedInstance, "INSTANCEPATH", Element::ObjectPath},
    Row{Element::Instance, "PROPERTY", Element::Property},
    Row{Element::Instance, "PROPERTY.ARRAY", Element::PropertyArray},
    Row{Element::Instance, "PROPERTY.REFERENCE", Element::PropertyReference},
    Row{Element::Property, "VALUE", Element::Value},
    Row{Element::Property, "QUALIFIER", Element::Qualifier},
    Row{Element::PropertyArray, "VALUE.ARRAY", Element::ValueArray},
    Row{Element::PropertyArray, "QUALIFIER", Element::Qualifier},
    Row{Element::PropertyReference, "VALUE.REFERENCE", Element::ValueReference},
    Row{Element::PropertyReference, "QUALIFIER", Element::Qualifier},
    Row{Element::Qualifier, "VALUE", Element::Value},
    Row{Element::Qualifier, "VALUE.ARRAY", Element::ValueArray},
    Row{Element::ValueArray, "VALUE", Element::Value},
    Row{Element::ValueArray, "VALUE.NULL", Element::ValueNull},
    Row{Element::ValueReference, "INSTANCEPATH", Element::ObjectPath},
    Row{Element::ValueReference, "LOCALINSTANCEPATH", Element::ObjectPath},
    Row{Element::ValueReference, "CLASSPATH", Element::ObjectPath},
    Row{Element::ValueReference, "LOCALCLASSPATH", Element::ObjectPath},
    Row{Element::ValueReference, "INSTANCENAME", Element::InstanceName},
    Row{Element::ValueReference, "CLASSNAME", Element::ClassName},
    Row{Element::ObjectPath, "NAMESPACEPATH", Element::NamespacePath},
    Row{Element::ObjectPath, "LOCALNAMESPACEPATH", Element::LocalNamespacePath},
    Row{Element::ObjectPath, "INSTANCENAME", Element::InstanceName},
    Row{Element::ObjectPath, "CLASSNAME", Element::ClassName},
    Row{Element::NamespacePath, "HOST", Element::Host},
    Row{Element::NamespacePath, "LOCALNAMESPACEPATH", Element::LocalNamespacePath},
    Row{Element::LocalNamespacePath, "NAMESPACE", Element::Namespace},
    Row{Element::InstanceName, "KEYBINDING", Element::KeyBinding},
    Row{Element::KeyBinding, "KEYVALUE", Element::KeyValue},
    Row{Element::KeyBinding, "VALUE.REFERENCE", Element::ValueReference},
};

constexpr std::size_t kElements = static_cast<std::size_t>(Element::Unknown) + 1;

/// Where the rows of each parent start.
constexpr auto kFirstRow = [] {
  std::array<unsigned char, kElements + 1> first{};
  std::size_t row = 0;
  for (std::size_t parent = 0; parent < kElements; ++parent) {
    first[parent] = static_cast<unsigned char>(row);
    while (row < kRows.size() && kRows[row].parent == static_cast<Element>(parent)) {
      ++row;
    }
  }
  first[kElements] = static_cast<unsigned char>(row);
  return first;
}();
static_assert(kFirstRow[kElements] == kRows.size(), "the rows are in the order of the parents");

}  // namespace

Element ChildElement(Element parent, std::string_view name) noexcept {
  const auto index = static_cast<std::size_t>(parent);
  for (std::size_t row = kFirstRow[index]; row < kFirstRow[index + 1]; ++row) {
    if (kRows[row].name == name) {
      return kRows[row].element;
    }
  }
  return Element::Unknown;
}

}  // namespace Pegasus::Detail
