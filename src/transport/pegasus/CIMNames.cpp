#include <Pegasus/Common/CIMName.h>

#include <algorithm>

namespace Pegasus {

namespace {

bool StartsName(char c) noexcept {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

bool ContinuesName(char c) noexcept {
  return StartsName(c) || (c >= '0' && c <= '9');
}

}  // namespace

bool Detail::IsLegalName(std::string_view name) noexcept {
  return !name.empty() && StartsName(name.front()) && std::all_of(name.begin(), name.end(), ContinuesName);
}

Boolean CIMName::legal(const String& name) noexcept {
  return Detail::IsLegalName(name.View());
}

CIMName::CIMName(const String& name) : name_(name) {
  if (!legal(name)) {
    throw InvalidNameException(name);
  }
}

CIMName::CIMName(const char* name) : CIMName(String(name)) {}

Boolean CIMNamespaceName::legal(const String& name) noexcept {
  std::string_view rest = name.View();
  if (!rest.empty() && rest.front() == '/') {
    rest.remove_prefix(1);
  }
  while (true) {
    const std::size_t slash = rest.find('/');
    if (!Detail::IsLegalName(rest.substr(0, slash))) {
      return false;
    }
    if (slash == std::string_view::npos) {
      return true;
    }
    rest.remove_prefix(slash + 1);
  }
}

CIMNamespaceName::CIMNamespaceName(const String& name) : name_(name) {
  if (!legal(name)) {
    throw InvalidNamespaceNameException(name);
  }
  if (name.View().front() == '/') {
    name_ = String(name.View().substr(1));
  }
}

CIMNamespaceName::CIMNamespaceName(const char* name) : CIMNamespaceName(String(name)) {}

}  // namespace Pegasus
