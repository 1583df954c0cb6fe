#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <istream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// The only public header that includes other libraries' headers (RedfishClient.h includes it): a program that includes
// it needs the headers of curl and Boost. The classes themselves are only in the static library.
#include <curl/curl.h>
#include <boost/function.hpp>

#include <kelvar/Diagnostics.h>

namespace Kelvar {
class LoginGuard;
namespace Http {
class TlsTrust;
}
}  // namespace Kelvar

namespace Rest {

/// The response to one request. Moved, not copied, when it is returned.
struct RestResponse {
  /// `curl` as curlCode, `http` as httpCode, `text` as body.
  RestResponse(std::int32_t curl, std::int32_t http, std::string text)
      : curlCode(curl), httpCode(http), body(std::move(text)) {}

  std::int32_t curlCode;  ///< CURLcode of the transfer: 0 on success, -1 until one has run
  std::int32_t httpCode;  ///< HTTP status of the last response, -1 when the transfer failed
  std::string body;       ///< response body; curl's error text, or nothing, when the transfer failed
  /// Response headers, trimmed; of a repeated one the last value. A line without a colon, such as the status line, is
  /// a key of its own with the value "present".
  std::map<std::string, std::string> headers;
  std::vector<std::string> cookies;  ///< cookies known after the transfer, one line each in Netscape form
  Kelvar::FailureCause cause = Kelvar::FailureCause::None;  ///< why the transfer failed, or what its status means
};

/// One part of a multipart form.
class MimePart {
 public:
  virtual ~MimePart() = default;
  /// Fills a new, empty part with curl_mime_name, curl_mime_data and similar functions. Called for each attempt; what
  /// it throws ends the request and is passed to the caller.
  virtual void Fill(curl_mimepart* part) = 0;
};

using MimeParts = std::vector<std::shared_ptr<MimePart>>;

/// Called with (total, now) in bytes while a form is sent or its response received. May be empty. Cannot stop a
/// transfer, and what it throws is dropped: it runs inside libcurl.
using ProgressCallback = boost::function<void(std::int64_t total, std::int64_t now)>;

/// A blocking HTTP client. Settings hold for all later requests. Every request blocks until the response is there, the
/// time limit has passed or the transfer has failed, and never throws for a failure of the transfer. One object
/// serves one thread at a time. URLs are taken literally.
class RestClientInterface {
 public:
  virtual ~RestClientInterface();

  /// Credentials for basic authentication; an empty user sends none.
  virtual void SetBasicAuth(const std::string& user, const std::string& password) = 0;
  /// Limit of a whole transfer in seconds; 0 means none. A negative value (the default) ends a transfer only when it
  /// stays below 30 bytes a second for 60 seconds.
  virtual void SetTimeout(std::int32_t seconds) = 0;
  /// Accept any certificate. Without effect when a CA file is set.
  virtual void SetSkipTlsVerification(bool skip) = 0;
  /// Do not wait for "100 Continue" before a body is sent.
  virtual void SetDisableExpect(bool disable) = 0;
  /// Follow at most `maximum` redirects (-1: any number), to http and https only. Credentials follow to other hosts.
  virtual void FollowRedirects(bool follow, std::int32_t maximum) = 0;
  /// CA bundle in PEM form to verify the server with.
  virtual void SetCAInfoFilePath(const std::string& path) = 0;
  /// Tunnel through an HTTP proxy. A URL that does not begin with "http" (any case) gets "http://" in front; an empty
  /// one means no proxy. User and password are used when both are there.
  virtual void SetProxy(const std::string& url, const std::string& user, const std::string& password) = 0;
  /// Replaces the request headers.
  virtual void SetHeaders(std::map<std::string, std::string> headers) = 0;
  /// The request headers as set.
  virtual std::map<std::string, std::string> GetHeaders() = 0;
  /// Sets one request header; an earlier value of the same key is replaced.
  virtual void AppendHeader(const std::string& key, const std::string& value) = 0;
  /// Offer gzip. Always 0.
  virtual int EnableCompression() = 0;

  /// Dispatch by number: 0 Get, 1 Post, 2 Put, 3 Patch, 5 Head, 6 Options. Any other number transfers nothing and
  /// gives curlCode -1 and the body "unknown request type".
  virtual RestResponse Request(int type, const std::string& url, const std::string& data) = 0;
  /// One GET request.
  virtual RestResponse Get(const std::string& url) = 0;
  /// One POST request with a multipart form.
  virtual RestResponse PostMime(const std::string& url, MimeParts& parts, ProgressCallback progress) = 0;
  /// Sends the whole stream from its start, whatever its position and state; it must be able to seek.
  virtual RestResponse PostStream(const std::string& url, std::istream& stream) = 0;
  /// One POST request with `data` as its body.
  virtual RestResponse Post(const std::string& url, const std::string& data) = 0;
  /// As PostStream, with PUT.
  virtual RestResponse PutStream(const std::string& url, std::istream& stream) = 0;
  /// One PUT request with `data` as its body.
  virtual RestResponse Put(const std::string& url, const std::string& data) = 0;
  /// As PostStream, with PATCH.
  virtual RestResponse PatchStream(const std::string& url, std::istream& stream) = 0;
  /// One PATCH request with `data` as its body.
  virtual RestResponse Patch(const std::string& url, const std::string& data) = 0;
  /// One DELETE request.
  virtual RestResponse Delete(const std::string& url) = 0;
  /// One HEAD request; the response has no body.
  virtual RestResponse Head(const std::string& url) = 0;
  /// One OPTIONS request.
  virtual RestResponse Options(const std::string& url) = 0;

  /// Classifies a response; 0 unless a class overrides it.
  virtual int CheckResponse(const RestResponse& response);
};

/// The client on libcurl: one easy handle, whose connection is kept from one request to the next.
///
/// A target cannot make the process grow: a body beyond its bound ends the transfer with CURLE_WRITE_ERROR, of one with
/// an error status 64 KiB are kept, headers beyond 1 MiB are left out, and a server that keeps sending headers without
/// a body ends the transfer with CURLE_ABORTED_BY_CALLBACK. SIGPIPE never reaches the host program. Environment
/// variables are ignored, those for proxies and for a file of TLS session keys too.
class RestClient : public RestClientInterface {
 public:
  /// Largest body in bytes before SetMaxBodyBytes.
  static constexpr std::uint64_t kDefaultMaxBodyBytes = std::uint64_t{64} << 20;

  /// Takes the ConnectionOptions of the calling thread's scope: they override SetSkipTlsVerification and
  /// SetCAInfoFilePath. Throws std::runtime_error "Couldn't initialize curl handle".
  RestClient();
  ~RestClient() override;
  RestClient(const RestClient&) = delete;
  RestClient& operator=(const RestClient&) = delete;

  void SetBasicAuth(const std::string& user, const std::string& password) override;
  void SetTimeout(std::int32_t seconds) override;
  void SetSkipTlsVerification(bool skip) override;
  void SetDisableExpect(bool disable) override;
  void FollowRedirects(bool follow, std::int32_t maximum) override;
  void SetCAInfoFilePath(const std::string& path) override;
  void SetProxy(const std::string& url, const std::string& user, const std::string& password) override;
  void SetHeaders(std::map<std::string, std::string> headers) override;
  std::map<std::string, std::string> GetHeaders() override;
  void AppendHeader(const std::string& key, const std::string& value) override;
  int EnableCompression() override;

  RestResponse Request(int type, const std::string& url, const std::string& data) override;
  RestResponse Get(const std::string& url) override;
  RestResponse PostMime(const std::string& url, MimeParts& parts, ProgressCallback progress) override;
  RestResponse PostStream(const std::string& url, std::istream& stream) override;
  RestResponse Post(const std::string& url, const std::string& data) override;
  RestResponse PutStream(const std::string& url, std::istream& stream) override;
  RestResponse Put(const std::string& url, const std::string& data) override;
  RestResponse PatchStream(const std::string& url, std::istream& stream) override;
  RestResponse Patch(const std::string& url, const std::string& data) override;
  RestResponse Delete(const std::string& url) override;
  RestResponse Head(const std::string& url) override;
  RestResponse Options(const std::string& url) override;

  /// -2 for a time-out or a certificate problem (curl codes 28, 58, 60, 77, 91), -1 for any other failure or a status
  /// that does not begin with 2, else 0.
  int CheckResponse(const RestResponse& response) override;

  // Settings beyond the interface.

  /// Client certificate and its key; empty texts are left out. `type` is "PEM", "DER" or "P12".
  void SetClientCertificate(const std::string& certificate, const std::string& type, const std::string& key,
                            const std::string& keyPassphrase);
  /// A line for the cookie engine, in Netscape or "Set-Cookie:" form; given to it before each request.
  void SetCookieList(const std::string& line);
  /// Bodies go to `file`, which the caller owns and which must outlive the requests, and no bound holds; null: into the
  /// response again.
  void SetOutputFile(std::FILE* file);
  /// Largest body in bytes, decompressed; 64 MiB at first.
  void SetMaxBodyBytes(std::uint64_t bytes);

 private:
  RestResponse Run(const std::string& url, const std::function<void()>& setOwnOptions,
                   ProgressCallback* progress = nullptr, std::istream* stream = nullptr);
  RestResponse Perform(const std::string& url, ProgressCallback* progress, std::istream* stream);
  void SetSecurity();
  void SetProxyAndCookies();
  void SetLimits();
  void Collect(RestResponse& response);
  void WipeHeaders() noexcept;
  std::optional<RestResponse> Withheld() const;
  Kelvar::FailureCause CauseOf(std::int32_t code, bool exceeded) const;
  void SetStream(std::istream& stream, bool post);

  std::shared_ptr<Kelvar::LoginGuard> loginGuard;
  std::unique_ptr<Kelvar::Http::TlsTrust> tlsTrust;
  const bool accountStaysWithHost;
  CURL* curlHandle;
  std::map<std::string, std::string> requestHeaders;
  std::int32_t timeoutSeconds = -1;
  bool followRedirects = false;
  bool skipTlsVerification = false;
  bool disableExpect = false;
  std::int32_t maxRedirects = -1;
  std::string basicAuthUser;
  std::string basicAuthPassword;
  std::string userAgent;
  std::string caInfoPath;
  std::string certPath;
  std::string certType;
  std::string keyPath;
  std::string keyPassword;
  std::string proxyUrl;
  std::string proxyUser;
  std::string proxyPassword;
  std::string cookieList;
  bool compressionEnabled = false;
  std::FILE* outputFile = nullptr;
  std::uint64_t maxBodyBytes = kDefaultMaxBodyBytes;
};

}  // namespace Rest
