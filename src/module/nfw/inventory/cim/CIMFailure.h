#pragma once

#include <ostream>
#include <string>

#include <kelvar/Diagnostics.h>

namespace Kelvar {

/// How an operation over CIM failed.
struct CIMFailure {
  enum Kind {
    Http,   ///< the server refused the HTTP request
    Cim,    ///< any other exception of the client library
    Other,  ///< an exception of another kind
  };

  Kind kind;
  std::string message;  ///< empty for Other, and when memory for it is lacking
  FailureCause cause = FailureCause::None;

  /// Adds the gap that the failure leaves.
  void AddGap(const char* operation) const noexcept;
};

/// " Catch ..." with the message, as operations log it after their name.
std::ostream& operator<<(std::ostream& stream, const CIMFailure& failure);

/// Sorts the exception in flight. To be called inside a catch clause.
CIMFailure CurrentCIMFailure() noexcept;

}  // namespace Kelvar
