#include <array>
#include <charconv>

#include <Pegasus/Client/CIMClientException.h>
#include <Pegasus/Common/SSLContext.h>

namespace Pegasus {

namespace {

String Joined(std::string_view front, const String& middle, std::string_view back = {}) {
  std::string text(front);
  text += middle.View();
  text += back;
  return String(std::string_view(text));
}

constexpr std::array kStatusNames = {
    "CIM_ERR_SUCCESS",
    "CIM_ERR_FAILED",
    "CIM_ERR_ACCESS_DENIED",
    "CIM_ERR_INVALID_NAMESPACE",
    "CIM_ERR_INVALID_PARAMETER",
    "CIM_ERR_INVALID_CLASS",
    "CIM_ERR_NOT_FOUND",
    "CIM_ERR_NOT_SUPPORTED",
    "CIM_ERR_CLASS_HAS_CHILDREN",
    "CIM_ERR_CLASS_HAS_INSTANCES",
    "CIM_ERR_INVALID_SUPERCLASS",
    "CIM_ERR_ALREADY_EXISTS",
    "CIM_ERR_NO_SUCH_PROPERTY",
    "CIM_ERR_TYPE_MISMATCH",
    "CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED",
    "CIM_ERR_INVALID_QUERY",
    "CIM_ERR_METHOD_NOT_AVAILABLE",
    "CIM_ERR_METHOD_NOT_FOUND",
};
static_assert(kStatusNames.size() == CIM_ERR_METHOD_NOT_FOUND + 1);

String StatusText(CIMStatusCode code) {
  const auto index = static_cast<std::size_t>(code);
  if (index < kStatusNames.size()) {
    return kStatusNames[index];
  }
  return String(std::string_view("Unrecognized CIM status code \"" + std::to_string(int{code}) + "\""));
}

String HttpErrorText(const String& status, const String& cimError, const String& detail) {
  std::string text = "HTTP Error (";
  text.append(status.View()).append(")");
  const char* before = ": ";
  if (cimError.size() != 0) {
    text.append(before).append("CIMError = \"").append(cimError.View()).append("\"");
    before = " ";
  }
  if (detail.size() != 0) {
    text.append(before).append("Detail = \"").append(detail.View()).append("\"");
  }
  text += '.';
  return String(std::string_view(text));
}

Uint32 LeadingNumber(std::string_view text) noexcept {
  Uint32 number = 0;
  (void)std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

Exception::Exception(const String& message) : message_(message) {}
Exception::~Exception() = default;

IndexOutOfBoundsException::IndexOutOfBoundsException() : Exception("index out of bounds") {}

InvalidNameException::InvalidNameException(const String& name)
    : Exception(Joined("The CIM name is not valid: ", name)) {}

InvalidNamespaceNameException::InvalidNamespaceNameException(const String& name)
    : Exception(Joined("invalid CIM namespace name: ", name)) {}

TypeMismatchException::TypeMismatchException() : Exception("type mismatch") {}

CannotConnectException::CannotConnectException(const String& locator, const String& reason)
    : Exception(Joined("Cannot connect to ", locator, ". Connection failed.")), reason_(reason) {}

InvalidLocatorException::InvalidLocatorException(const String& locator)
    : Exception(Joined("Invalid locator: ", locator)) {}

AlreadyConnectedException::AlreadyConnectedException() : Exception("already connected") {}

NotConnectedException::NotConnectedException() : Exception("not connected") {}

ConnectionTimeoutException::ConnectionTimeoutException() : Exception("connection timed out") {}

SSLException::SSLException(const String& message) : Exception(message) {}

CIMException::CIMException(CIMStatusCode code, const String& message)
    : Exception(message.size() != 0 ? message : StatusText(code)), code_(code) {}

CIMClientHTTPErrorException::CIMClientHTTPErrorException(const String& status, const String& cimError,
                                                         const String& detail)
    : Exception(HttpErrorText(status, cimError, detail)), code_(LeadingNumber(status.View())) {}

SSLContext::SSLContext(const String& trustStore, SSLCertificateVerifyFunction* verify, const String& /*randomFile*/)
    : trustStore_(trustStore) {
  if (verify != nullptr) {
    throw SSLException("certificate verification callbacks are not supported");
  }
}

}  // namespace Pegasus
