#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <curl/curl.h>

#include <kelvar/Diagnostics.h>

#include <Pegasus/Common/SSLContext.h>

#include "common/http/TlsTrust.h"
#include "common/http/Transfer.h"

namespace Pegasus::Detail {

/// Takes the body of a reply as it arrives.
class BodySink {
 public:
  virtual ~BodySink() = default;
  virtual void Take(std::string_view bytes) = 0;
};

/// One connection to a CIM server.
class HttpTransport {
 public:
  HttpTransport(const String& host, Uint32 port, const SSLContext* tls, const String& user, const String& password);
  HttpTransport(const HttpTransport&) = delete;
  HttpTransport& operator=(const HttpTransport&) = delete;

  /// Opens the connection, TLS handshake included; sends nothing.
  void Connect(Uint32 timeoutMs);

  /// Sends one request and hands its reply to `sink`. Throws what either end did wrong, or what `sink` threw.
  void Post(const std::vector<std::string>& headers, std::string_view body, Uint32 timeoutMs, BodySink& sink);

  /// Why the last connect or transfer failed, as libcurl tells; None when it did not.
  Kelvar::FailureCause Cause() const noexcept { return cause_; }

 private:
  struct ListFree {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
  };

  template <typename Value>
  void Set(CURLoption option, Value value);
  void SetTls(const SSLContext& context);
  CURLcode Perform(Uint32 timeoutMs);
  /// Whether the server has closed the connection that was kept, so that the next request needs a new one.
  bool IsClosed();
  [[noreturn]] void Fail(CURLcode code) const;

  String locator_;
  Kelvar::Http::TlsTrust trust_{Kelvar::ConnectionOptionsScope::Current()};  // before the handle, which asks it
  std::array<char, CURL_ERROR_SIZE> errorText_{};  // before the handle, which writes to it until it is gone
  std::unique_ptr<CURL, Kelvar::Http::HandleCleanup> handle_;
  bool closesAfterReply_ = false;  ///< the server has done so once
  bool hasReplied_ = false;
  bool knowsServer_ = false;  ///< its connection has been looked at after a reply
  Kelvar::FailureCause cause_ = Kelvar::FailureCause::None;
};

}  // namespace Pegasus::Detail
