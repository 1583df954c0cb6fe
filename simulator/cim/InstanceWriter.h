#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "simulator/cim/Repository.h"

namespace Kelvar::Simulator::Cim {

/// What a request wants to see of each instance.
struct Shape {
  bool qualifiers = false;
  bool classOrigin = false;
  /// Properties by name; absent for all of them.
  std::optional<std::vector<std::string>> properties;
  /// When set, only properties that this class has itself or by inheritance.
  const Class* seenAs = nullptr;
};

/// Writes the instances of one class. An index beyond the class's own instances gives a numbered copy of one of them.
/// The namespace must outlive the writer.
class InstanceWriter {
 public:
  InstanceWriter(const Namespace& space, const Class& of, const Shape& shape);

  std::size_t Count() const noexcept { return class_.count; }
  InstanceName NameOf(std::size_t index) const;
  /// An INSTANCE element.
  void AppendInstance(std::string& xml, std::size_t index) const;
  /// A VALUE.NAMEDINSTANCE element: name and instance.
  void AppendNamedInstance(std::string& xml, std::size_t index) const;

 private:
  const Instance& Original(std::size_t index) const { return class_.instances[index % class_.instances.size()]; }
  bool IsCopy(std::size_t index) const noexcept { return index >= class_.instances.size(); }
  bool IsNumbered(const std::string& property) const;
  bool IsWanted(const std::string& property) const;
  /// The text of one item, numbered in copies.
  std::string ItemText(const Property& property, const std::string& item, std::size_t index) const;
  void AppendProperty(std::string& xml, const Property& property, std::size_t index) const;
  void AppendItem(std::string& xml, const Property& property, const std::optional<std::string>& item,
                  std::size_t index) const;

  const Class& class_;
  const std::vector<const Class*> ancestry_;
  const std::vector<const Class*> seenAncestry_;
  const Shape shape_;
  std::vector<const PropertyDeclaration*> keys_;
};

void AppendQualifiers(std::string& xml, const std::vector<Qualifier>& qualifiers);

/// The CLASS element.
void AppendClass(std::string& xml, const Namespace& space, const Class& of, bool localOnly, const Shape& shape);

}  // namespace Kelvar::Simulator::Cim
