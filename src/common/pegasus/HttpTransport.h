#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <curl/curl.h>

#include <Pegasus/Common/SSLContext.h>

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
  /// Throws what a reply with this head means, unless its body is one to read.
  void Check() const;
  /// Throws the CIM error that the trailers carry, if any.
  void CheckTrailers() const;
};

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

  /// Opens the connection, TLS handshake included; sends nothing.
  void Connect(Uint32 timeoutMs);

  /// Sends one request and hands its reply to `sink`. Throws what either end did wrong, or what `sink` threw.
  void Post(const std::vector<std::string>& headers, std::string_view body, Uint32 timeoutMs, BodySink& sink);

 private:
  struct HandleCleanup {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
  };
  struct ListFree {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
  };

  template <typename Value>
  void Set(CURLoption option, Value value);
  void SetTls(const SSLContext& context);
  CURLcode Perform(Uint32 timeoutMs);
  [[noreturn]] void Fail(CURLcode code) const;

  String locator_;
  std::unique_ptr<CURL, HandleCleanup> handle_;
};

}  // namespace Pegasus::Detail
