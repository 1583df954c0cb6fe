#include "transport/rest/MultiTransfer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <curl/curl.h>
#include <sys/socket.h>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/http/FailureOf.h"
#include "common/http/TlsTrust.h"
#include "common/http/Transfer.h"
#include "common/process/Descriptors.h"
#include "common/process/SigpipeGuard.h"
#include "transport/rest/HeaderList.h"

namespace Rest {

namespace {

constexpr std::size_t kMaxHeaderValue = 4096;
constexpr std::size_t kMaxHeaders = std::size_t{256} << 10;  // trailers included; libcurl has a bound a little above

std::string_view Trim(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

bool SameName(std::string_view left, std::string_view right) {
  return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) {
           return (a >= 'A' && a <= 'Z' ? static_cast<char>(a + 32) : a) == b;
         });
}

void Wipe(std::string& secret) noexcept {
  explicit_bzero(secret.data(), secret.size());
  secret.clear();
}

void Wipe(TransferRequest& request) noexcept {
  Wipe(request.password);
  Wipe(request.body);
  for (std::string& line : request.headers) {
    Wipe(line);
  }
}

curl_socket_t OpenSocket(void* /*data*/, curlsocktype /*purpose*/, curl_sockaddr* address) noexcept {
  return Kelvar::AboveStandardStreams(socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol));
}

}  // namespace

/// One handle and the request that it serves.
struct MultiTransfer::Slot {
  std::unique_ptr<CURL, Kelvar::Http::HandleCleanup> handle;
  HeaderList headers;
  TransferRequest request;
  TransferResult result;
  std::size_t maxBody = 0;
  std::size_t headerBytes = 0;
  std::chrono::steady_clock::time_point quietUntil;
  bool busy = false;
  bool heard = false;  ///< something came
  bool exceeded = false;
  char error[CURL_ERROR_SIZE] = {};

  bool MayBeSilent() const noexcept { return busy && !heard && request.quiet.count() > 0; }
  /// Over a connection that another request has used.
  bool IsOverKept() const noexcept;

  static std::size_t TakeBody(char* data, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t TakeHeader(char* data, std::size_t size, std::size_t count, void* self) noexcept;
};

bool MultiTransfer::Slot::IsOverKept() const noexcept {
  long connects = 1;
  curl_off_t sent = 0;
  curl_easy_getinfo(handle.get(), CURLINFO_NUM_CONNECTS, &connects);
  curl_easy_getinfo(handle.get(), CURLINFO_PRETRANSFER_TIME_T, &sent);
  return connects == 0 && sent > 0;
}

struct MultiTransfer::Shared {
  explicit Shared(const Options& options) : trust(options.tlsCaFile, options.tlsPinnedFingerprint) {}

  CURLM* multi = nullptr;
  Kelvar::Http::TlsTrust trust;  // before the handles, which ask it
  std::vector<std::unique_ptr<Slot>> slots;

  Slot& Free() {
    for (const auto& slot : slots) {
      if (!slot->busy) {
        return *slot;
      }
    }
    auto slot = std::make_unique<Slot>();
    slot->handle.reset(Kelvar::Http::MakeHandle());
    if (!slot->handle) {
      throw std::bad_alloc();
    }
    slots.push_back(std::move(slot));
    return *slots.back();
  }
  Slot* Of(const CURL* handle) noexcept {
    for (const auto& slot : slots) {
      if (slot->handle.get() == handle) {
        return slot.get();
      }
    }
    return nullptr;
  }
};

std::size_t MultiTransfer::Slot::TakeBody(char* data, std::size_t size, std::size_t count, void* self) noexcept {
  auto& slot = *static_cast<Slot*>(self);
  const std::size_t bytes = size * count;
  std::string& body = slot.result.body;
  if (bytes > slot.maxBody || body.size() > slot.maxBody - bytes) {
    slot.exceeded = true;
    return 0;
  }
  try {
    body.append(data, bytes);
  } catch (...) {
    return 0;
  }
  return bytes;
}

std::size_t MultiTransfer::Slot::TakeHeader(char* data, std::size_t size, std::size_t count, void* self) noexcept {
  auto& slot = *static_cast<Slot*>(self);
  slot.heard = true;
  const std::string_view line(data, size * count);
  slot.headerBytes += line.size();
  if (slot.headerBytes > kMaxHeaders) {
    slot.exceeded = true;
    return 0;
  }
  const auto colon = line.find(':');
  if (colon == std::string_view::npos) {
    return line.size();
  }
  const std::string_view name = line.substr(0, colon);
  const std::string_view value = Trim(line.substr(colon + 1));
  if (value.size() > kMaxHeaderValue) {
    return line.size();
  }
  try {
    if (SameName(name, "location")) {
      slot.result.location = value;
    } else if (SameName(name, "retry-after")) {
      slot.result.retryAfter = value;
    } else if (SameName(name, "x-auth-token")) {
      slot.result.authToken = value;
    }
  } catch (...) {
    return 0;
  }
  return line.size();
}

MultiTransfer::MultiTransfer(Options options)
    : options_(std::move(options)), shared_(std::make_unique<Shared>(options_)) {
  const Kelvar::StandardStreamsTaken taken;
  shared_->multi = curl_multi_init();
  if (shared_->multi == nullptr) {
    throw std::bad_alloc();
  }
  curl_multi_setopt(shared_->multi, CURLMOPT_MAX_TOTAL_CONNECTIONS, static_cast<long>(options_.connections));
  curl_multi_setopt(shared_->multi, CURLMOPT_MAXCONNECTS, static_cast<long>(options_.connections));
}

MultiTransfer::~MultiTransfer() {
  Abort();
  shared_->slots.clear();
  const Kelvar::SigpipeGuard guard;
  curl_multi_cleanup(shared_->multi);
}

void MultiTransfer::SetTls(Slot& slot) {
  CURL* const handle = slot.handle.get();
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
  const CURLcode code = shared_->trust.Apply(handle);
  if (code != CURLE_OK) {
    throw std::runtime_error(curl_easy_strerror(code));
  }
}

void MultiTransfer::SetOptions(Slot& slot) {
  CURL* const handle = slot.handle.get();
  const TransferRequest& request = slot.request;
  curl_easy_setopt(handle, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  if (!request.body.empty()) {
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  }
  if (!request.user.empty()) {
    curl_easy_setopt(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    curl_easy_setopt(handle, CURLOPT_USERNAME, request.user.c_str());
    curl_easy_setopt(handle, CURLOPT_PASSWORD, request.password.c_str());
  }
  for (const std::string& line : request.headers) {
    curl_slist* const longer = curl_slist_append(slot.headers.get(), line.c_str());
    if (longer == nullptr) {
      throw std::bad_alloc();
    }
    (void)slot.headers.release();
    slot.headers.reset(longer);
  }
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, slot.headers.get());
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Slot::TakeBody);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &slot);
  curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, &Slot::TakeHeader);
  curl_easy_setopt(handle, CURLOPT_HEADERDATA, &slot);
  curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, slot.error);
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, &OpenSocket);
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  curl_easy_setopt(handle, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "gzip");
  curl_easy_setopt(handle, CURLOPT_FRESH_CONNECT, request.fresh ? 1L : 0L);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.connectTimeout.count()));
  curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, std::max(1L, static_cast<long>(request.timeout.count())));
  SetTls(slot);
}

void MultiTransfer::Start(Kelvar::u64 id, TransferRequest request) {
  Slot& slot = shared_->Free();
  curl_easy_reset(slot.handle.get());
  slot.headers.reset();
  slot.request = std::move(request);
  slot.result = {};
  slot.result.id = id;
  slot.maxBody = options_.maxBodyBytes;
  slot.exceeded = false;
  slot.heard = false;
  slot.headerBytes = 0;
  slot.quietUntil = std::chrono::steady_clock::now() + slot.request.quiet;
  slot.error[0] = '\0';
  SetOptions(slot);
  if (curl_multi_add_handle(shared_->multi, slot.handle.get()) != CURLM_OK) {
    throw std::bad_alloc();
  }
  slot.busy = true;
}

std::size_t MultiTransfer::Active() const noexcept {
  return static_cast<std::size_t>(
      std::count_if(shared_->slots.begin(), shared_->slots.end(), [](const auto& slot) { return slot->busy; }));
}

TransferResult MultiTransfer::Finish(Slot& slot, int code) {
  using Kelvar::FailureCause;
  CURL* const handle = slot.handle.get();
  TransferResult result = std::move(slot.result);
  long status = 0;
  curl_off_t microseconds = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(handle, CURLINFO_TOTAL_TIME_T, &microseconds);
  result.seconds = static_cast<double>(microseconds) / 1e6;
  if (code == CURLE_OK) {
    result.status = static_cast<int>(status);
    result.connected = true;
    Kelvar::DiagnosticsRecorder::NoteTls(shared_->trust.Last());
  } else {
    const auto curlCode = static_cast<CURLcode>(code);
    curl_off_t sent = 0;
    curl_easy_getinfo(handle, CURLINFO_PRETRANSFER_TIME_T, &sent);
    result.connected = sent > 0;
    result.timedOut = curlCode == CURLE_OPERATION_TIMEDOUT;
    result.cause = slot.exceeded ? FailureCause::TooLarge : Kelvar::Http::CauseOfTransfer(handle, curlCode);
    result.cause = result.cause == FailureCause::None ? FailureCause::Unreachable : result.cause;
    result.error = slot.headerBytes > kMaxHeaders
                       ? "the headers are larger than " + std::to_string(kMaxHeaders) + " bytes"
                   : slot.exceeded         ? "the body is larger than " + std::to_string(slot.maxBody) + " bytes"
                   : slot.error[0] != '\0' ? slot.error
                                           : curl_easy_strerror(curlCode);
    result.body.clear();
  }
  curl_multi_remove_handle(shared_->multi, handle);
  slot.busy = false;
  slot.headers.reset();
  Wipe(slot.request);
  return result;
}

std::chrono::steady_clock::time_point MultiTransfer::EndSilent(std::vector<TransferResult>& ended) {
  const auto now = std::chrono::steady_clock::now();
  auto next = std::chrono::steady_clock::time_point::max();
  for (const auto& slot : shared_->slots) {
    if (!slot->MayBeSilent() || slot->quietUntil > now) {
      next = slot->MayBeSilent() ? std::min(next, slot->quietUntil) : next;
    } else if (slot->IsOverKept()) {
      ended.push_back(Finish(*slot, CURLE_OPERATION_TIMEDOUT));
      ended.back().silent = true;
      ended.back().error = "the kept connection is silent";
    }
  }
  return next;
}

std::vector<TransferResult> MultiTransfer::Wait(std::chrono::milliseconds atMost) {
  const Kelvar::SigpipeGuard guard;
  const auto end = std::chrono::steady_clock::now() + atMost;
  std::vector<TransferResult> ended;
  for (;;) {
    int running = 0;
    curl_multi_perform(shared_->multi, &running);
    int left = 0;
    while (CURLMsg* const message = curl_multi_info_read(shared_->multi, &left)) {
      Slot* const slot = message->msg == CURLMSG_DONE ? shared_->Of(message->easy_handle) : nullptr;
      if (slot != nullptr) {
        ended.push_back(Finish(*slot, message->data.result));
      }
    }
    const auto next = std::min(end, EndSilent(ended));
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(next - std::chrono::steady_clock::now()).count();
    if (!ended.empty() || std::chrono::steady_clock::now() >= end) {
      return ended;
    }
    curl_multi_poll(shared_->multi, nullptr, 0, static_cast<int>(std::clamp<long>(rest, 0, 1000)), nullptr);
  }
}

void MultiTransfer::Abort() noexcept {
  const Kelvar::SigpipeGuard guard;
  for (const auto& slot : shared_->slots) {
    if (slot->busy) {
      curl_multi_remove_handle(shared_->multi, slot->handle.get());
      slot->busy = false;
      Wipe(slot->request);
    }
  }
}

}  // namespace Rest
