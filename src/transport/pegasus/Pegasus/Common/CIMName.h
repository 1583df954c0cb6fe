#pragma once

#include <string_view>

#include <Pegasus/Common/Exception.h>

namespace Pegasus {

namespace Detail {

/// Letters, digits, "_" and everything beyond ASCII; no digit in front.
bool IsLegalName(std::string_view name) noexcept;

}  // namespace Detail

/// Name of a class, property or qualifier. Compares without case. Throws InvalidNameException for what is no name.
class CIMName {
 public:
  CIMName() noexcept = default;
  CIMName(const String& name);
  CIMName(const char* name);

  const String& getString() const noexcept { return name_; }
  Boolean isNull() const noexcept { return name_.size() == 0; }
  Boolean equal(const CIMName& other) const noexcept { return String::equalNoCase(name_, other.name_); }
  static Boolean legal(const String& name) noexcept;

 private:
  String name_;
};

inline Boolean operator==(const CIMName& a, const CIMName& b) noexcept {
  return a.equal(b);
}
inline Boolean operator!=(const CIMName& a, const CIMName& b) noexcept {
  return !a.equal(b);
}

/// Names with "/" between them; one "/" in front is dropped. Throws InvalidNamespaceNameException.
class CIMNamespaceName {
 public:
  CIMNamespaceName() noexcept = default;
  CIMNamespaceName(const String& name);
  CIMNamespaceName(const char* name);

  const String& getString() const noexcept { return name_; }
  Boolean isNull() const noexcept { return name_.size() == 0; }
  Boolean equal(const CIMNamespaceName& other) const noexcept { return String::equalNoCase(name_, other.name_); }
  static Boolean legal(const String& name) noexcept;

 private:
  String name_;
};

inline Boolean operator==(const CIMNamespaceName& a, const CIMNamespaceName& b) noexcept {
  return a.equal(b);
}
inline Boolean operator!=(const CIMNamespaceName& a, const CIMNamespaceName& b) noexcept {
  return !a.equal(b);
}

}  // namespace Pegasus
