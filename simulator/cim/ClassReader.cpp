#include "simulator/cim/ClassReader.h"

#include <algorithm>
#include <stdexcept>

#include "simulator/cim/XmlText.h"
#include "simulator/machine/JsonFile.h"

namespace Kelvar::Simulator::Cim {

namespace {

[[noreturn]] void Refuse(const std::string& where, const std::string& reason) {
  throw std::runtime_error(where + ": " + reason);
}

/// Sets type and isArray from a text such as "uint16" or "string[]".
void SetType(std::string text, Type& type, bool& isArray) {
  isArray = text.ends_with("[]");
  if (isArray) {
    text.resize(text.size() - 2);
  }
  const auto found = TypeNamed(text);
  if (!found) {
    throw std::runtime_error("no CIM type \"" + text + '"');
  }
  type = *found;
}

std::optional<std::string> ItemOf(Type type, const rapidjson::Value& json, const Variables& variables) {
  if (json.IsNull()) {
    return std::nullopt;
  }
  const std::string text = variables.Expand(Json::Words(json));
  auto canonical = CanonicalText(type, text);
  if (!canonical || !IsXmlText(*canonical)) {
    throw std::runtime_error('"' + text + "\" is not a valid " + std::string(NameOf(type)));
  }
  return canonical;
}

void SetItems(const rapidjson::Value& json, const Variables& variables, Value& value) {
  value.isNull = json.IsNull();
  if (value.isNull) {
    return;
  }
  if (!value.isArray) {
    value.items.push_back(ItemOf(value.type, json, variables));
    return;
  }
  if (!json.IsArray()) {
    throw std::runtime_error("no list, though the property is an array");
  }
  for (const rapidjson::Value& item : json.GetArray()) {
    value.items.push_back(ItemOf(value.type, item, variables));
  }
}

Qualifier QualifierOf(const std::string& name, const rapidjson::Value& json) {
  Qualifier qualifier{name, {}};
  qualifier.value.isArray = json.IsArray();
  qualifier.value.type = json.IsBool() ? Type::Boolean : Type::String;
  SetItems(json, Variables(), qualifier.value);
  return qualifier;
}

PropertyDeclaration DeclarationOf(const std::string& name, const rapidjson::Value& json) {
  PropertyDeclaration declaration;
  declaration.name = name;
  if (!json.IsObject()) {
    SetType(Json::Words(json), declaration.type, declaration.isArray);
    return declaration;
  }
  SetType(Json::Text(json, "type"), declaration.type, declaration.isArray);
  declaration.isKey = Json::Flag(json, "key");
  if (declaration.isKey) {
    declaration.qualifiers.push_back({"Key", {Type::Boolean, false, false, {"TRUE"}}});
  }
  for (const auto& [qualifier, value] : Json::Members(json, "qualifiers")) {
    declaration.qualifiers.push_back(QualifierOf(qualifier.GetString(), value));
  }
  return declaration;
}

std::string ReferenceOf(const rapidjson::Value& json, const Namespace& space, const Variables& variables) {
  InstanceName target{Json::Text(json, "reference"), {}};
  const Class* targetClass = space.Find(target.className);
  if (targetClass == nullptr) {
    throw std::runtime_error("a reference to a class that is not there");
  }
  const auto ancestry = space.Ancestry(*targetClass);
  for (const auto& [name, value] : Json::Members(json, "keys")) {
    const Declared key = FindDeclaration(ancestry, name.GetString());
    const Type type = key.property == nullptr ? Type::String : key.property->type;
    target.keys.push_back({name.GetString(), std::string(KeyKindOf(type)), variables.Expand(Json::Words(value))});
  }
  std::string xml;
  AppendInstanceName(xml, target);
  return xml;
}

/// {"type": ..., "value": ...}, {"raw": ...} or {"reference": ..., "keys": ...}
void ReadObjectForm(const rapidjson::Value& json, const Namespace& space, const Variables& variables,
                    Property& property) {
  if (Json::Find(json, "raw") != nullptr) {
    property.raw = variables.Expand(Json::Text(json, "raw"));
    return;
  }
  if (Json::Find(json, "reference") != nullptr) {
    property.value = {Type::Reference, false, false, {ReferenceOf(json, space, variables)}};
    return;
  }
  SetType(Json::Text(json, "type"), property.value.type, property.value.isArray);
  if (const rapidjson::Value* value = Json::Find(json, "value")) {
    SetItems(*value, variables, property.value);
  }
}

Property PropertyOf(const std::string& name, const rapidjson::Value& json, const std::vector<const Class*>& ancestry,
                    const Namespace& space, const Variables& variables) {
  Property property{name, {}, {}};
  if (json.IsObject()) {
    ReadObjectForm(json, space, variables, property);
    return property;
  }
  const Declared declared = FindDeclaration(ancestry, name);
  if (declared.property == nullptr) {
    throw std::runtime_error("declared neither in the class nor in a superclass");
  }
  property.value.type = declared.property->type;
  property.value.isArray = declared.property->isArray;
  SetItems(json, variables, property.value);
  return property;
}

void Put(Instance& instance, Property property) {
  const auto same = std::find_if(instance.properties.begin(), instance.properties.end(),
                                 [&](const Property& other) { return SameName(other.name, property.name); });
  if (same != instance.properties.end()) {
    *same = std::move(property);
  } else {
    instance.properties.push_back(std::move(property));
  }
}

}  // namespace

void ReadDeclaration(const rapidjson::Value& document, Class& into) {
  into.superclass = Json::Text(document, "superclass", "");
  for (const auto& [property, json] : Json::Members(document, "properties")) {
    into.properties.push_back(DeclarationOf(property.GetString(), json));
  }
}

void ReadInstances(const rapidjson::Value& document, const Namespace& space, const Variables& variables, Class& into) {
  into.alwaysQualifiers = Json::Flag(document, "alwaysQualifiers");
  for (const rapidjson::Value& property : Json::List(document, "numbered")) {
    into.numbered.push_back(Json::Words(property));
  }
  const auto ancestry = space.Ancestry(into);
  const auto fill = [&](const rapidjson::Value::ConstObject& members, Instance& instance) {
    for (const auto& [name, value] : members) {
      try {
        Put(instance, PropertyOf(name.GetString(), value, ancestry, space, variables));
      } catch (const std::runtime_error& error) {
        Refuse("instance " + std::to_string(into.instances.size()) + ", " + name.GetString(), error.what());
      }
    }
  };
  for (const rapidjson::Value& json : Json::List(document, "instances")) {
    Instance instance;
    fill(Json::Members(document, "common"), instance);
    if (!json.IsObject()) {
      Refuse("instance " + std::to_string(into.instances.size()), "no object");
    }
    fill(json.GetObject(), instance);
    into.instances.push_back(std::move(instance));
  }
  into.count = into.instances.size();
}

}  // namespace Kelvar::Simulator::Cim
