#pragma once

#include <Pegasus/Common/Exception.h>

namespace Pegasus {

/// The reply is not an HTTP reply to a CIM request, or broke off.
class CIMClientMalformedHTTPException : public Exception {
 public:
  using Exception::Exception;
};

/// An HTTP status other than 200.
class CIMClientHTTPErrorException : public Exception {
 public:
  /// `status` is code and reason; the others are what the server's headers tell, or empty.
  CIMClientHTTPErrorException(const String& status, const String& cimError, const String& detail);

  Uint32 getCode() const noexcept { return code_; }

 private:
  Uint32 code_;
};

/// The body is not XML, or not the XML that is expected.
class CIMClientXmlException : public Exception {
 public:
  using Exception::Exception;
};

/// The reply answers another request.
class CIMClientResponseException : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace Pegasus
