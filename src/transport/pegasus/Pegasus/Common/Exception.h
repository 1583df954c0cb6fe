#pragma once

#include <Pegasus/Common/CIMStatusCode.h>
#include <Pegasus/Common/String.h>

namespace Pegasus {

/// Root of all that this library throws. Not a std::exception.
class Exception {
 public:
  explicit Exception(const String& message);
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  virtual ~Exception();

  virtual const String& getMessage() const { return message_; }

 private:
  String message_;
};

class IndexOutOfBoundsException : public Exception {
 public:
  IndexOutOfBoundsException();
};

class InvalidNameException : public Exception {
 public:
  explicit InvalidNameException(const String& name);
};

class InvalidNamespaceNameException : public Exception {
 public:
  explicit InvalidNamespaceNameException(const String& name);
};

class TypeMismatchException : public Exception {
 public:
  TypeMismatchException();
};

/// Refused, or no TLS session that the context accepts.
class CannotConnectException : public Exception {
 public:
  explicit CannotConnectException(const String& locator, const String& reason = String::EMPTY);

  /// What the HTTP library says of it, for logs.
  const String& getReason() const noexcept { return reason_; }

 private:
  String reason_;
};

/// The host name is none, or has no address.
class InvalidLocatorException : public Exception {
 public:
  explicit InvalidLocatorException(const String& locator);
};

class AlreadyConnectedException : public Exception {
 public:
  AlreadyConnectedException();
};

class NotConnectedException : public Exception {
 public:
  NotConnectedException();
};

class ConnectionTimeoutException : public Exception {
 public:
  ConnectionTimeoutException();
};

class SSLException : public Exception {
 public:
  explicit SSLException(const String& message);
};

/// The server answered with a CIM error.
class CIMException : public Exception {
 public:
  /// Without a message the name of the code stands for it.
  CIMException(CIMStatusCode code, const String& message = String::EMPTY);

  CIMStatusCode getCode() const noexcept { return code_; }

 private:
  CIMStatusCode code_;
};

}  // namespace Pegasus
