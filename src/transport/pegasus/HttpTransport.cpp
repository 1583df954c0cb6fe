#include "transport/pegasus/HttpTransport.h"

#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <exception>
#include <new>

#include <Pegasus/Client/CIMClientException.h>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/http/FailureOf.h"

#include "transport/pegasus/HttpHead.h"

namespace Pegasus::Detail {

namespace {

constexpr long kReceiveBytes = 64L * 1024;
/// For a connection, TLS handshake included, whatever longer time-out a request has.
constexpr Uint32 kConnectMs = 30'000;
/// Of all headers and trailers of one reply, those of interim replies too. Below the limits that some releases of curl
/// have, so that it is the same with all.
constexpr std::size_t kMaxHeadBytes = std::size_t{256} * 1024;

std::string UrlOf(std::string_view host, Uint32 port, bool tls) {
  std::string text = tls ? "https://" : "http://";
  if (host.find(':') != std::string_view::npos) {
    text.append("[").append(host).append("]");
  } else {
    text += host;
  }
  return text.append(":").append(std::to_string(port)).append("/cimom");
}

bool IsHostText(std::string_view host) noexcept {
  return !host.empty() && host.find_first_of("/@?#[]\\ \t\r\n") == std::string_view::npos;
}

/// One request and its reply, as curl's callbacks see them. No exception may pass through curl: the first one is kept,
/// and ends the transfer.
struct Exchange {
  std::string_view unsent;
  BodySink& sink;
  HttpHead head;
  bool checked = false;
  std::exception_ptr failure;
  std::size_t headBytes = 0;

  void AddHeadLine(std::string_view line) {
    headBytes += line.size();
    if (headBytes > kMaxHeadBytes) {
      throw CIMClientMalformedHTTPException("HTTP headers of more than 262144 bytes.");
    }
    head.AddLine(line);
    head.CheckStatus();
  }

  template <typename Action>
  std::size_t Guard(std::size_t size, Action action) noexcept {
    try {
      action();
      return size;
    } catch (...) {
      failure = std::current_exception();
      return size + 1;
    }
  }

  static std::size_t OnSend(char* out, std::size_t one, std::size_t count, void* data) noexcept {
    auto& exchange = *static_cast<Exchange*>(data);
    const std::size_t size = std::min(exchange.unsent.size(), one * count);
    std::copy_n(exchange.unsent.data(), size, out);
    exchange.unsent.remove_prefix(size);
    return size;
  }

  static std::size_t OnHeader(char* text, std::size_t one, std::size_t count, void* data) noexcept {
    auto& exchange = *static_cast<Exchange*>(data);
    return exchange.Guard(one * count, [&] { exchange.AddHeadLine({text, one * count}); });
  }

  static std::size_t OnBody(char* bytes, std::size_t one, std::size_t count, void* data) noexcept {
    auto& exchange = *static_cast<Exchange*>(data);
    return exchange.Guard(one * count, [&] {
      if (!exchange.checked) {
        exchange.head.Check();
        exchange.checked = true;
      }
      exchange.sink.Take({bytes, one * count});
    });
  }
};

/// Ends a transfer as soon as it has its connection, which stays open for the next one. A transfer that is made with
/// CURLOPT_CONNECT_ONLY from the start would keep the connection to itself.
int StopWhenConnected(void* handle, char* /*ip*/, char* /*localIp*/, int /*port*/, int /*localPort*/) noexcept {
  return curl_easy_setopt(static_cast<CURL*>(handle), CURLOPT_CONNECT_ONLY, 1L) == CURLE_OK ? CURL_PREREQFUNC_OK
                                                                                            : CURL_PREREQFUNC_ABORT;
}

String ReasonOf(CURLcode code, const char* text) {
  std::string reason = "curlCode " + std::to_string(code) + ": ";
  reason += *text != '\0' ? text : curl_easy_strerror(code);
  return String(std::string_view(reason));
}

/// A kept connection that ends without a reply is that of a server which closes it some time after each reply.
bool IsLossOfConnection(CURLcode code) {
  return code == CURLE_GOT_NOTHING || code == CURLE_SEND_ERROR || code == CURLE_RECV_ERROR;
}

bool WasKept(CURL* handle) {
  long connects = 0;
  return curl_easy_getinfo(handle, CURLINFO_NUM_CONNECTS, &connects) == CURLE_OK && connects == 0;
}

}  // namespace

template <typename Value>
void HttpTransport::Set(CURLoption option, Value value) {
  const CURLcode code = curl_easy_setopt(handle_.get(), option, value);
  if (code != CURLE_OK) {
    Fail(code);
  }
}

HttpTransport::HttpTransport(const String& host, Uint32 port, const SSLContext* tls, const String& user,
                             const String& password)
    : locator_(std::string_view(std::string(host.View()) + ":" + std::to_string(port))),
      handle_(Kelvar::Http::MakeHandle()) {
  if (!handle_) {
    throw std::bad_alloc();
  }
  if (!IsHostText(host.View()) || port > 0xFFFF) {
    throw InvalidLocatorException(locator_);
  }
  Set(CURLOPT_ERRORBUFFER, errorText_.data());
  Set(CURLOPT_URL, UrlOf(host.View(), port, tls != nullptr).c_str());
  Set(CURLOPT_PROTOCOLS_STR, "http,https");
  Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  Set(CURLOPT_PROXY, "");
  Set(CURLOPT_NOPROXY, "");
  Set(CURLOPT_TCP_KEEPALIVE, 1L);
  Set(CURLOPT_BUFFERSIZE, kReceiveBytes);
  if (user.size() != 0 || password.size() != 0) {
    Set(CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    Set(CURLOPT_USERNAME, user.View().data());
    Set(CURLOPT_PASSWORD, password.View().data());
  }
  if (tls != nullptr) {
    SetTls(*tls);
  }
}

void HttpTransport::SetTls(const SSLContext& context) {
  const String trusted = context.getTrustPath();
  Set(CURLOPT_SSL_ENABLE_ALPN, 0L);
  Set(CURLOPT_SSL_VERIFYHOST, 0L);
  Set(CURLOPT_SSL_VERIFYPEER, trusted.size() == 0 ? 0L : 1L);
  if (trusted.size() != 0) {
    struct stat entry {};
    const char* const path = trusted.View().data();
    const bool isFolder = stat(path, &entry) == 0 && S_ISDIR(entry.st_mode);
    Set(isFolder ? CURLOPT_CAPATH : CURLOPT_CAINFO, path);
  }
  const CURLcode code = trust_.Apply(handle_.get());
  if (code != CURLE_OK) {
    Fail(code);
  }
}

CURLcode HttpTransport::Perform(Uint32 timeoutMs) {
  Set(CURLOPT_TIMEOUT_MS, static_cast<long>(timeoutMs));
  Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::min(timeoutMs, kConnectMs)));
  errorText_.front() = '\0';
  const CURLcode code = Kelvar::Http::Transfer(handle_.get()).Perform();
  if (code == CURLE_OK || code == CURLE_WRITE_ERROR) {
    Kelvar::DiagnosticsRecorder::NoteTls(trust_.Last());
  }
  // A callback that wants no more has its own reason.
  cause_ = code == CURLE_WRITE_ERROR ? Kelvar::FailureCause::None : Kelvar::Http::CauseOfTransfer(handle_.get(), code);
  return code;
}

bool HttpTransport::IsClosed() {
  constexpr int kFirstLookMs = 10;  // for a server that closes a little later than it replies
  curl_socket_t connection = CURL_SOCKET_BAD;
  if (closesAfterReply_ || curl_easy_getinfo(handle_.get(), CURLINFO_ACTIVESOCKET, &connection) != CURLE_OK ||
      connection == CURL_SOCKET_BAD) {
    return closesAfterReply_;
  }
  pollfd look{connection, POLLRDHUP, 0};
  const bool isClosed = poll(&look, 1, hasReplied_ && !knowsServer_ ? kFirstLookMs : 0) > 0;
  knowsServer_ = hasReplied_;
  closesAfterReply_ = isClosed && hasReplied_;
  return isClosed;
}

void HttpTransport::Connect(Uint32 timeoutMs) {
  Set(CURLOPT_PREREQFUNCTION, &StopWhenConnected);
  Set(CURLOPT_PREREQDATA, handle_.get());
  const CURLcode code = Perform(timeoutMs);
  Set(CURLOPT_PREREQFUNCTION, static_cast<curl_prereq_callback>(nullptr));
  Set(CURLOPT_CONNECT_ONLY, 0L);
  if (code != CURLE_OK) {
    Fail(code);
  }
}

void HttpTransport::Post(const std::vector<std::string>& headers, std::string_view body, Uint32 timeoutMs,
                         BodySink& sink) {
  std::unique_ptr<curl_slist, ListFree> list;
  for (const std::string& header : headers) {
    curl_slist* const longer = curl_slist_append(list.get(), header.c_str());
    if (longer == nullptr) {
      throw std::bad_alloc();
    }
    (void)list.release();
    list.reset(longer);
  }
  Exchange exchange{body, sink, {}, false, nullptr};
  Set(CURLOPT_POST, 1L);
  Set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
  // Read through a callback that cannot start over, so that curl never sends a request twice.
  Set(CURLOPT_READFUNCTION, &Exchange::OnSend);
  Set(CURLOPT_READDATA, &exchange);
  Set(CURLOPT_HEADERFUNCTION, &Exchange::OnHeader);
  Set(CURLOPT_HEADERDATA, &exchange);
  Set(CURLOPT_WRITEFUNCTION, &Exchange::OnBody);
  Set(CURLOPT_WRITEDATA, &exchange);
  Set(CURLOPT_HTTPHEADER, list.get());
  Set(CURLOPT_FRESH_CONNECT, IsClosed() ? 1L : 0L);
  const CURLcode code = Perform(timeoutMs);
  Set(CURLOPT_HTTPHEADER, static_cast<curl_slist*>(nullptr));
  hasReplied_ = hasReplied_ || exchange.head.complete;
  closesAfterReply_ = closesAfterReply_ || (IsLossOfConnection(code) && WasKept(handle_.get()));
  if (exchange.failure) {
    std::rethrow_exception(exchange.failure);
  }
  if (code != CURLE_OK && code != CURLE_WRITE_ERROR) {
    Fail(code);
  }
  exchange.head.Check();
}

void HttpTransport::Fail(CURLcode code) const {
  switch (code) {
    case CURLE_URL_MALFORMAT:
    case CURLE_COULDNT_RESOLVE_HOST:
      throw InvalidLocatorException(locator_);
    case CURLE_COULDNT_CONNECT:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_PEER_FAILED_VERIFICATION:
      throw CannotConnectException(locator_, ReasonOf(code, errorText_.data()));
    case CURLE_OPERATION_TIMEDOUT:
      throw ConnectionTimeoutException();
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
      throw CIMClientMalformedHTTPException("Malformed HTTP response message.");
    case CURLE_ABORTED_BY_CALLBACK:
      throw CIMClientMalformedHTTPException("HTTP response message that comes to no end.");
    case CURLE_OUT_OF_MEMORY:
      throw std::bad_alloc();
    default:
      throw CIMClientMalformedHTTPException("Connection closed by CIM Server.");
  }
}

}  // namespace Pegasus::Detail
