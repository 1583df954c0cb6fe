#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Pegasus::Detail {

/// What the headers and trailers of a reply tell.
struct HttpHead {
  bool fromHttp = false;
  bool complete = false;
  std::string status;  ///< code and reason
  bool hasOperation = false;
  std::optional<std::string> contentType;
  std::string cimError;
  std::string detail;
  std::string cimStatusCode;
  std::string cimStatusDescription;

  void AddLine(std::string_view line);
  /// Throws as soon as the head tells an HTTP error, whatever may follow: a body that never comes must not hide it.
  void CheckStatus() const;
  /// Throws what a reply with this head means, unless its body is one to read.
  void Check() const;
  /// Throws the CIM error that the trailers carry, if any.
  void CheckTrailers() const;
};

}  // namespace Pegasus::Detail
