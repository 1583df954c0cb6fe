#pragma once

#include <cstdint>
#include <optional>

#include <curl/curl.h>

namespace Kelvar::Http {

// What all transfers over libcurl owe to the host program, whichever client makes them: no descriptor of theirs is one
// of its standard streams, its SIGPIPE stays its own, and no peer sends without end.

/// curl_easy_init.
CURL* MakeHandle() noexcept;

/// curl_easy_cleanup, for owners.
struct HandleCleanup {
  void operator()(CURL* handle) const noexcept;
};

/// What a peer may send beside its body, and once more what the body has: headers, and what frames the body. A chunk
/// may have an extension of any length, of which libcurl tells nothing.
constexpr curl_off_t kMaxFramingBytes = curl_off_t{16} << 20;

/// One run of a handle. CURLOPT_XFERINFOFUNCTION and CURLOPT_OPENSOCKETFUNCTION are its own.
class Transfer {
 public:
  explicit Transfer(CURL* handle) noexcept : handle_(handle) {}
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  /// `callback` is told about the progress, as CURLOPT_XFERINFOFUNCTION would.
  void ReportTo(curl_xferinfo_callback callback, void* data) noexcept;

  /// curl_easy_perform. CURLE_ABORTED_BY_CALLBACK when it makes no progress: the peer sends on but nothing of the body,
  /// or libcurl does not wait, which is how it takes a lack of memory in the middle of a TLS record.
  CURLcode Perform() noexcept;

  /// Why it was aborted, for the log; null when it was not.
  const char* Complaint() const noexcept { return complaint_; }

 private:
  static curl_socket_t OnOpen(void* self, curlsocktype purpose, curl_sockaddr* address) noexcept;
  static int OnProgress(void* self, curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
                        curl_off_t uploadNow) noexcept;
  /// Sets the complaint, if there is one. `body` bytes of the body have come so far, `sent` bytes of one have gone out.
  void Look(curl_off_t body, curl_off_t sent) noexcept;
  std::optional<curl_off_t> Received(long localPort) const noexcept;

  CURL* handle_;
  curl_xferinfo_callback report_ = nullptr;
  void* reportData_ = nullptr;
  curl_socket_t kept_ = CURL_SOCKET_BAD;    ///< of the transfer before
  curl_socket_t opened_ = CURL_SOCKET_BAD;  ///< in this one, the last
  std::uint32_t calls_ = 0;
  std::uint32_t idleLooks_ = 0;
  const char* complaint_ = nullptr;

  /// What a look saw: how much had come, over which connection.
  struct Sight {
    long localPort = 0;
    curl_off_t received = 0;
    curl_off_t body = 0;
    curl_off_t sent = 0;
    bool operator==(const Sight&) const = default;
  };
  Sight first_;  ///< of this connection
  Sight last_;
};

}  // namespace Kelvar::Http
