#pragma once

#include <string>

namespace Kelvar {

/// How an operation over CIM failed.
struct CIMFailure {
  enum Kind {
    Http,   ///< the server refused the HTTP request
    Cim,    ///< any other exception of the client library
    Other,  ///< an exception of another kind
  };

  Kind kind;
  std::string message;  ///< empty for Other

  /// " Catch ..." with the message, as operations log it behind their name.
  std::string LogText() const;
};

/// Sorts the exception in flight. To be called inside a catch clause.
CIMFailure CurrentCIMFailure();

}  // namespace Kelvar
