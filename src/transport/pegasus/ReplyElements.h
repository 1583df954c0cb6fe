#pragma once

#include <string_view>

namespace Pegasus::Detail {

/// The elements of a reply that matter, each in its place.
enum class Element : unsigned char {
  Document,
  Cim,
  Message,
  SimpleResponse,
  MethodResponse,
  Error,
  ReturnValue,
  NamedInstance,
  Instance,
  Property,
  PropertyArray,
  PropertyReference,
  Qualifier,
  Value,
  ValueArray,
  ValueNull,
  ValueReference,
  ObjectPath,
  NamespacePath,
  LocalNamespacePath,
  Namespace,
  Host,
  ClassName,
  InstanceName,
  KeyBinding,
  KeyValue,
  Unknown,
};

/// The element that `name` stands for inside `parent`; Unknown for what has no business there.
Element ChildElement(Element parent, std::string_view name) noexcept;

}  // namespace Pegasus::Detail
