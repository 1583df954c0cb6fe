#include "simulator/cim/Repository.h"

#include <algorithm>
#include <utility>

namespace Kelvar::Simulator::Cim {

namespace {

/// Longer chains of superclasses are a circle in the data.
constexpr std::size_t kMaximalAncestry = 32;

}  // namespace

void Namespace::Add(Class added) {
  std::string name = added.name;
  classes_.insert_or_assign(std::move(name), std::move(added));
}

const Class* Namespace::Find(std::string_view className) const {
  const auto found = classes_.find(className);
  return found == classes_.end() ? nullptr : &found->second;
}

Class* Namespace::Find(std::string_view className) {
  return const_cast<Class*>(std::as_const(*this).Find(className));
}

std::vector<const Class*> Namespace::Ancestry(const Class& of) const {
  std::vector<const Class*> chain;
  for (const Class* at = &of; at != nullptr && chain.size() < kMaximalAncestry; at = Find(at->superclass)) {
    chain.push_back(at);
  }
  return chain;
}

std::vector<const Class*> Namespace::Family(const Class& of) const {
  std::vector<const Class*> family;
  for (const auto& [name, candidate] : classes_) {
    const auto chain = Ancestry(candidate);
    if (std::find(chain.begin(), chain.end(), &of) != chain.end()) {
      family.push_back(&candidate);
    }
  }
  return family;
}

std::vector<const Class*> Namespace::Children(std::string_view className) const {
  std::vector<const Class*> children;
  for (const auto& [name, candidate] : classes_) {
    if (SameName(candidate.superclass, className)) {
      children.push_back(&candidate);
    }
  }
  return children;
}

Declared FindDeclaration(const std::vector<const Class*>& ancestry, std::string_view property) {
  for (const Class* at : ancestry) {
    for (const PropertyDeclaration& declaration : at->properties) {
      if (SameName(declaration.name, property)) {
        return {&declaration, at};
      }
    }
  }
  return {};
}

const Property* FindProperty(const Instance& instance, std::string_view name) {
  const auto found = std::find_if(instance.properties.begin(), instance.properties.end(),
                                  [&](const Property& property) { return SameName(property.name, name); });
  return found == instance.properties.end() ? nullptr : &*found;
}

}  // namespace Kelvar::Simulator::Cim
