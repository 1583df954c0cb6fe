#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "simulator/cim/Repository.h"
#include "simulator/cim/Request.h"

namespace Kelvar::Simulator::Cim {

struct CimError {
  int code = 0;
  std::string description;
};

/// Appends the next piece of a reply to the text; false when there is no more. Nothing is written ahead, so that a
/// reply of any size costs one piece.
using Producer = std::function<bool(std::string& xml)>;

struct Outcome {
  /// Set when the operation failed; there is no body then.
  std::optional<CimError> error;
  Producer body;
};

/// Runs an operation of the request on what the server publishes.
Outcome Perform(const std::shared_ptr<const Repository>& repository, const Request& request);

/// The whole reply that tells of an error.
std::string ErrorReply(const Request& request, const CimError& error);

}  // namespace Kelvar::Simulator::Cim
