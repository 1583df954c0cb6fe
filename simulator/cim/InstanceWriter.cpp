#include "simulator/cim/InstanceWriter.h"

#include <algorithm>

#include "simulator/cim/XmlText.h"

namespace Kelvar::Simulator::Cim {

namespace {

bool Holds(const std::vector<std::string>& names, std::string_view wanted) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) { return SameName(name, wanted); });
}

void AppendValue(std::string& xml, std::string_view text) {
  xml += "<VALUE>";
  AppendEscaped(xml, text);
  xml += "</VALUE>\n";
}

std::string_view PropertyElement(const Value& value) noexcept {
  if (value.isArray) {
    return "PROPERTY.ARRAY";
  }
  return value.type == Type::Reference ? "PROPERTY.REFERENCE" : "PROPERTY";
}

/// Opens the element of a property up to and with its attributes.
void OpenProperty(std::string& xml, std::string_view name, const Value& value, const Class* origin) {
  xml.append("<").append(PropertyElement(value)).append(" NAME=\"");
  AppendEscaped(xml, name);
  if (origin != nullptr) {
    xml += "\" CLASSORIGIN=\"";
    AppendEscaped(xml, origin->name);
  }
  if (value.type != Type::Reference) {
    xml.append("\" TYPE=\"").append(NameOf(value.type));
  }
  xml += "\">\n";
}

void CloseProperty(std::string& xml, const Value& value) {
  xml.append("</").append(PropertyElement(value)).append(">\n");
}

}  // namespace

void AppendQualifiers(std::string& xml, const std::vector<Qualifier>& qualifiers) {
  for (const Qualifier& qualifier : qualifiers) {
    xml += "<QUALIFIER NAME=\"";
    AppendEscaped(xml, qualifier.name);
    xml.append("\" TYPE=\"").append(NameOf(qualifier.value.type)).append("\">\n");
    xml += qualifier.value.isArray ? "<VALUE.ARRAY>\n" : "";
    for (const auto& item : qualifier.value.items) {
      AppendValue(xml, item.value_or(""));
    }
    xml += qualifier.value.isArray ? "</VALUE.ARRAY>\n</QUALIFIER>\n" : "</QUALIFIER>\n";
  }
}

InstanceWriter::InstanceWriter(const Namespace& space, const Class& of, const Shape& shape)
    : class_(of),
      ancestry_(space.Ancestry(of)),
      seenAncestry_(shape.seenAs == nullptr ? std::vector<const Class*>() : space.Ancestry(*shape.seenAs)),
      shape_(shape) {
  for (const Class* at : ancestry_) {
    for (const PropertyDeclaration& declaration : at->properties) {
      if (declaration.isKey) {
        keys_.push_back(&declaration);
      }
    }
  }
  std::sort(keys_.begin(), keys_.end(), [](const auto* a, const auto* b) { return NameLess()(a->name, b->name); });
}

InstanceName InstanceWriter::NameOf(std::size_t index) const {
  InstanceName name{class_.name, {}};
  for (const PropertyDeclaration* key : keys_) {
    const Property* property = FindProperty(Original(index), key->name);
    if (property == nullptr || property->value.isNull || property->value.items.empty()) {
      continue;
    }
    const bool isReference = property->value.type == Type::Reference;
    name.keys.push_back({key->name, std::string(KeyKindOf(key->type)),
                         ItemText(*property, property->value.items[0].value_or(""), index), isReference});
  }
  return name;
}

bool InstanceWriter::IsNumbered(const std::string& property) const {
  if (!class_.numbered.empty()) {
    return Holds(class_.numbered, property);
  }
  return std::any_of(keys_.begin(), keys_.end(),
                     [&](const PropertyDeclaration* key) { return SameName(key->name, property); });
}

bool InstanceWriter::IsWanted(const std::string& property) const {
  if (shape_.properties && !Holds(*shape_.properties, property)) {
    return false;
  }
  return shape_.seenAs == nullptr || FindDeclaration(seenAncestry_, property).property != nullptr;
}

std::string InstanceWriter::ItemText(const Property& property, const std::string& item, std::size_t index) const {
  if (!IsCopy(index) || !IsNumbered(property.name)) {
    return item;
  }
  const std::string number = std::to_string(index + 1);
  const bool isText = property.value.type == Type::String;
  return isText ? item + " #" + number : CanonicalText(property.value.type, number).value_or(item);
}

void InstanceWriter::AppendItem(std::string& xml, const Property& property, const std::optional<std::string>& item,
                                std::size_t index) const {
  if (!item) {
    xml += "<VALUE.NULL/>\n";
  } else if (property.value.type == Type::Reference) {
    xml.append("<VALUE.REFERENCE>\n").append(*item).append("</VALUE.REFERENCE>\n");
  } else if (IsCopy(index)) {
    AppendValue(xml, ItemText(property, *item, index));
  } else {
    AppendValue(xml, *item);
  }
}

void InstanceWriter::AppendProperty(std::string& xml, const Property& property, std::size_t index) const {
  if (!property.raw.empty()) {
    xml += property.raw;
    return;
  }
  const Value& value = property.value;
  const bool withQualifiers = shape_.qualifiers || class_.alwaysQualifiers;
  const Declared declared =
      withQualifiers || shape_.classOrigin ? FindDeclaration(ancestry_, property.name) : Declared();
  OpenProperty(xml, property.name, value, shape_.classOrigin ? declared.origin : nullptr);
  if (withQualifiers && declared.property != nullptr) {
    AppendQualifiers(xml, declared.property->qualifiers);
  }
  if (!value.isNull) {
    xml += value.isArray ? "<VALUE.ARRAY>\n" : "";
    for (const auto& item : value.items) {
      AppendItem(xml, property, item, index);
    }
    xml += value.isArray ? "</VALUE.ARRAY>\n" : "";
  }
  CloseProperty(xml, value);
}

void InstanceWriter::AppendInstance(std::string& xml, std::size_t index) const {
  xml += "<INSTANCE CLASSNAME=\"";
  AppendEscaped(xml, class_.name);
  xml += "\">\n";
  for (const Property& property : Original(index).properties) {
    if (IsWanted(property.name)) {
      AppendProperty(xml, property, index);
    }
  }
  xml += "</INSTANCE>\n";
}

void InstanceWriter::AppendNamedInstance(std::string& xml, std::size_t index) const {
  xml += "<VALUE.NAMEDINSTANCE>\n";
  AppendInstanceName(xml, NameOf(index));
  AppendInstance(xml, index);
  xml += "</VALUE.NAMEDINSTANCE>\n";
}

void AppendClass(std::string& xml, const Namespace& space, const Class& of, bool localOnly, const Shape& shape) {
  xml += "<CLASS NAME=\"";
  AppendEscaped(xml, of.name);
  if (!of.superclass.empty()) {
    xml += "\" SUPERCLASS=\"";
    AppendEscaped(xml, of.superclass);
  }
  xml += "\">\n";
  for (const Class* at : localOnly ? std::vector<const Class*>{&of} : space.Ancestry(of)) {
    for (const PropertyDeclaration& declaration : at->properties) {
      if (shape.properties && !Holds(*shape.properties, declaration.name)) {
        continue;
      }
      const Value value{declaration.type, declaration.isArray, true, {}};
      OpenProperty(xml, declaration.name, value, shape.classOrigin ? at : nullptr);
      if (shape.qualifiers) {
        AppendQualifiers(xml, declaration.qualifiers);
      }
      CloseProperty(xml, value);
    }
  }
  xml += "</CLASS>\n";
}

}  // namespace Kelvar::Simulator::Cim
