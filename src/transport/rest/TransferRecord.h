#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <kelvar/Diagnostics.h>
#include <kelvar/RestClient.h>

namespace Rest {

/// Records a transfer that `handle` has just run, and whether a Redfish service has answered. A response of a GET that
/// succeeded is looked into for that, unless it went to a file.
void RecordTransfer(CURL* handle, const std::string& url, const RestResponse& response, bool hasBody) noexcept;

/// Records a request that was not sent, and what stands for its response.
void RecordWithheld(const std::string& url, const RestResponse& response) noexcept;

/// While it lives, the transfers of its thread are tries of one exchange, which it records at its end. Ends in reverse
/// order of construction.
class TriesOfOneExchange {
 public:
  TriesOfOneExchange() noexcept;
  ~TriesOfOneExchange();
  TriesOfOneExchange(const TriesOfOneExchange&) = delete;
  TriesOfOneExchange& operator=(const TriesOfOneExchange&) = delete;

  /// Counts the last one for all.
  void Add(Kelvar::DiagnosticExchange transfer);

 private:
  TriesOfOneExchange* outer_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::optional<Kelvar::DiagnosticExchange> exchange_;
};

}  // namespace Rest
