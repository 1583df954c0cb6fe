#include "common/http/Transfer.h"

#include <cstddef>
#include <cstring>

#include <arpa/inet.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "common/process/Descriptors.h"
#include "common/process/SigpipeGuard.h"

namespace Kelvar::Http {

namespace {

/// libcurl writes to sockets with MSG_NOSIGNAL. OpenSSL by itself would not, but since this release it writes through
/// libcurl.
bool MayRaiseSigpipe() noexcept {
  constexpr unsigned kWritesForOpenSsl = 0x075800;  // 7.88.0
  static const bool kMay = [] {
    const curl_version_info_data* const version = curl_version_info(CURLVERSION_NOW);
    const bool openSsl = version->ssl_version == nullptr || std::strncmp(version->ssl_version, "OpenSSL/", 8) == 0;
    return version->version_num < kWritesForOpenSsl || !openSsl;
  }();
  return kMay;
}

class OptionalGuard {
 public:
  OptionalGuard() noexcept {
    if (MayRaiseSigpipe()) {
      guard_.emplace();
    }
  }

 private:
  std::optional<SigpipeGuard> guard_;
};

in_port_t PortOf(const sockaddr_storage& address) noexcept {
  const auto* const v6 = reinterpret_cast<const sockaddr_in6*>(&address);
  const auto* const v4 = reinterpret_cast<const sockaddr_in*>(&address);
  return ntohs(address.ss_family == AF_INET6 ? v6->sin6_port : v4->sin_port);
}

bool HasLocalPort(curl_socket_t handle, long port) noexcept {
  sockaddr_storage own{};
  socklen_t size = sizeof own;
  return handle != CURL_SOCKET_BAD && getsockname(handle, reinterpret_cast<sockaddr*>(&own), &size) == 0 &&
         PortOf(own) == port;
}

}  // namespace

CURL* MakeHandle() noexcept {
  const StandardStreamsTaken taken;
  CURL* const handle = curl_easy_init();
  if (handle != nullptr && taken.Any()) {
    // Fails because the URL is missing, but opens the pair of sockets that libcurl wakes itself up with.
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_perform(handle);
  }
  return handle;
}

void HandleCleanup::operator()(CURL* handle) const noexcept {
  const OptionalGuard guard;                       // TLS says good-bye, perhaps to nobody
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);  // else this sets the process's handler of SIGPIPE
  curl_easy_cleanup(handle);
}

void Transfer::ReportTo(curl_xferinfo_callback callback, void* data) noexcept {
  report_ = callback;
  reportData_ = data;
}

CURLcode Transfer::Perform() noexcept {
  curl_easy_getinfo(handle_, CURLINFO_ACTIVESOCKET, &kept_);
  curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle_, CURLOPT_OPENSOCKETFUNCTION, &OnOpen);
  curl_easy_setopt(handle_, CURLOPT_OPENSOCKETDATA, this);
  curl_easy_setopt(handle_, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(handle_, CURLOPT_XFERINFOFUNCTION, &OnProgress);
  curl_easy_setopt(handle_, CURLOPT_XFERINFODATA, this);
  const OptionalGuard guard;
  return curl_easy_perform(handle_);
}

curl_socket_t Transfer::OnOpen(void* self, curlsocktype /*purpose*/, curl_sockaddr* address) noexcept {
  const int created = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  return static_cast<Transfer*>(self)->opened_ = AboveStandardStreams(created);
}

int Transfer::OnProgress(void* self, curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
                         curl_off_t uploadNow) noexcept {
  // libcurl calls for every some ten KiB: a usual transfer ends before the first look, which costs system calls.
  constexpr std::uint32_t kCallsPerLook = 64;
  auto& transfer = *static_cast<Transfer*>(self);
  if (++transfer.calls_ % kCallsPerLook == 0) {
    transfer.Look(downloadNow, uploadNow);
  }
  if (transfer.complaint_ != nullptr) {
    return 1;
  }
  return transfer.report_ == nullptr
             ? 0
             : transfer.report_(transfer.reportData_, downloadTotal, downloadNow, uploadTotal, uploadNow);
}

void Transfer::Look(curl_off_t body, curl_off_t sent) noexcept {
  constexpr std::uint32_t kMaxIdleLooks = 1000;  // while it waits, libcurl calls once a second
  Sight now{0, 0, body, sent};
  curl_easy_getinfo(handle_, CURLINFO_LOCAL_PORT, &now.localPort);
  const std::optional<curl_off_t> received = Received(now.localPort);
  now.received = received.value_or(0);
  idleLooks_ = now == last_ ? idleLooks_ + 1 : 0;
  last_ = now;
  if (!received || now.localPort != first_.localPort || now.received < first_.received || body < first_.body) {
    first_ = now;
  }
  if (now.received - first_.received - 2 * (body - first_.body) > kMaxFramingBytes) {
    complaint_ = "the server keeps sending headers without a body";
  } else if (idleLooks_ > kMaxIdleLooks) {
    complaint_ = "the transfer makes no progress, possibly out of memory";
  }
}

std::optional<curl_off_t> Transfer::Received(long localPort) const noexcept {
  for (const curl_socket_t handle : {opened_, kept_}) {
    tcp_info info{};
    socklen_t size = sizeof info;
    if (HasLocalPort(handle, localPort) && getsockopt(handle, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 &&
        size >= offsetof(tcp_info, tcpi_bytes_received) + sizeof info.tcpi_bytes_received) {
      return static_cast<curl_off_t>(info.tcpi_bytes_received);
    }
  }
  return std::nullopt;
}

}  // namespace Kelvar::Http
