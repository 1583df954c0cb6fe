#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <kelvar/Diagnostics.h>
#include <kelvar/Types.h>

namespace Rest {

/// One request of a MultiTransfer.
struct TransferRequest {
  std::string method = "GET";
  std::string url;
  std::vector<std::string> headers;  ///< whole lines, such as "Accept: application/json"
  std::string body;                  ///< sent when not empty
  std::string user;                  ///< basic authentication when not empty
  std::string password;
  std::chrono::milliseconds timeout{60'000};
  std::chrono::milliseconds connectTimeout{15'000};
  std::chrono::milliseconds quiet{0};  ///< for which a kept connection may send nothing; 0: until the timeout
  bool fresh = false;                  ///< over a connection of its own
};

/// What came back. The cause is None when a response came completely, whatever its status.
struct TransferResult {
  Kelvar::u64 id = 0;  ///< as given to Start()
  Kelvar::FailureCause cause = Kelvar::FailureCause::None;
  std::string error;  ///< libcurl's words; empty without a cause
  int status = -1;
  std::string body;
  std::string location;    ///< header Location
  std::string retryAfter;  ///< header Retry-After
  std::string authToken;   ///< header X-Auth-Token
  double seconds = 0;
  bool timedOut = false;
  bool connected = false;  ///< the request could be sent
  bool silent = false;     ///< a kept connection sent nothing within `quiet`; it is closed
};

/// Several HTTP requests to one server at a time, on the caller's thread, over connections that are kept. Nothing is
/// taken from the environment, no redirect is followed. One object serves one thread.
class MultiTransfer {
 public:
  struct Options {
    std::size_t connections = 4;
    std::string tlsCaFile;             ///< empty: the certificate is not verified
    std::string tlsPinnedFingerprint;  ///< SHA-256 of the certificate, 64 hexadecimal digits; empty: not checked
    std::size_t maxBodyBytes = std::size_t{64} << 20;
  };

  /// Throws std::bad_alloc without memory.
  explicit MultiTransfer(Options options);
  ~MultiTransfer();
  MultiTransfer(const MultiTransfer&) = delete;
  MultiTransfer& operator=(const MultiTransfer&) = delete;

  /// Begins a request; Wait() carries it on.
  void Start(Kelvar::u64 id, TransferRequest request);
  std::size_t Active() const noexcept;
  /// Works on all requests until one has ended or the time is over. Returns those that have ended.
  std::vector<TransferResult> Wait(std::chrono::milliseconds atMost);
  /// Ends all requests that are under way; they are not reported.
  void Abort() noexcept;

 private:
  struct Slot;
  struct Shared;

  void SetOptions(Slot& slot);
  void SetTls(Slot& slot);
  TransferResult Finish(Slot& slot, int code);
  /// Ends what has been silent for too long; returns when the next one will have been.
  std::chrono::steady_clock::time_point EndSilent(std::vector<TransferResult>& ended);

  Options options_;
  std::unique_ptr<Shared> shared_;
};

}  // namespace Rest
