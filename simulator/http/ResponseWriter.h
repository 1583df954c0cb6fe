#pragma once

#include <chrono>
#include <string_view>

#include "simulator/http/HttpMessage.h"

namespace Kelvar::Simulator {

/// Where the bytes of an answer go.
class ByteSink {
 public:
  virtual ~ByteSink() = default;
  /// False once the peer is gone.
  virtual bool Write(std::string_view bytes) = 0;
  /// Waits; false when the server is stopping.
  virtual bool Wait(std::chrono::milliseconds duration) = 0;
};

/// Writes an answer with its fault, and tells what is to become of the connection.
Fault::End WriteResponse(const HttpRequest& request, HttpResponse response, ByteSink& sink);

/// Applies a fault that is not about an answer: delay, garbage and end alone.
Fault::End ApplyConnectionFault(const Fault& fault, ByteSink& sink);

}  // namespace Kelvar::Simulator
