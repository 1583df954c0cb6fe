#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/cim/CimValue.h"

namespace Kelvar::Simulator::Cim {

struct KeyBinding {
  std::string name;
  /// As in KEYVALUE: "string", "boolean" or "numeric".
  std::string kind;
  std::string value;
  /// The value is the INSTANCENAME element of another instance.
  bool isReference = false;
};

struct InstanceName {
  std::string className;
  std::vector<KeyBinding> keys;
};

struct Qualifier {
  std::string name;
  Value value;
};

struct PropertyDeclaration {
  std::string name;
  Type type = Type::String;
  bool isArray = false;
  bool isKey = false;
  std::vector<Qualifier> qualifiers;
};

struct Property {
  std::string name;
  Value value;
  /// Sent instead of the property when it is not empty: XML as a faulty server sends it.
  std::string raw;
};

struct Instance {
  std::vector<Property> properties;
};

struct Class {
  std::string name;
  std::string superclass;
  std::vector<PropertyDeclaration> properties;
  std::vector<Instance> instances;
  /// Properties that tell made-up copies of an instance apart: texts get a number after them, numbers become one.
  std::vector<std::string> numbered;
  /// How many instances the class claims to have; those beyond `instances` are copies made while they are sent.
  std::size_t count = 0;
  /// Whether qualifiers go out unasked, as some servers do.
  bool alwaysQualifiers = false;
};

/// The classes of one namespace.
class Namespace {
 public:
  /// A class of the same name is replaced.
  void Add(Class added);
  /// Takes classes away, and the instances of others.
  template <typename Hidden, typename Emptied>
  void Narrow(Hidden isHidden, Emptied isEmptied) {
    std::erase_if(classes_, [&](const auto& entry) { return isHidden(entry.second); });
    for (auto& [name, of] : classes_) {
      if (isEmptied(of)) {
        of.instances.clear();
        of.count = 0;
      }
    }
  }

  const Class* Find(std::string_view className) const;
  Class* Find(std::string_view className);
  /// The class itself and its superclasses, nearest first.
  std::vector<const Class*> Ancestry(const Class& of) const;
  /// The class itself and everything derived from it, in order of names.
  std::vector<const Class*> Family(const Class& of) const;
  /// Classes whose superclass this is; those without any for an empty name.
  std::vector<const Class*> Children(std::string_view className) const;

  const std::map<std::string, Class, NameLess>& Classes() const noexcept { return classes_; }

 private:
  std::map<std::string, Class, NameLess> classes_;
};

/// What one CIM server publishes.
struct Repository {
  std::map<std::string, Namespace, NameLess> namespaces;
};

/// The declaration of a property in a class or the nearest of its superclasses, and the class that declares it.
struct Declared {
  const PropertyDeclaration* property = nullptr;
  const Class* origin = nullptr;
};
Declared FindDeclaration(const std::vector<const Class*>& ancestry, std::string_view property);

const Property* FindProperty(const Instance& instance, std::string_view name);

}  // namespace Kelvar::Simulator::Cim
