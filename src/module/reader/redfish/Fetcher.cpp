#include "module/reader/redfish/Fetcher.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include <curl/curl.h>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/http/FailureOf.h"
#include "common/log/LogMacros.h"
#include "common/text/Escape.h"
#include "module/reader/redfish/ErrorMessage.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr int kTooManyRequests = 429;
constexpr int kMaxRedirects = 5;
constexpr int kMaxWaits = 10;        // pauses that one request is given by the service
constexpr int kMaxUnaskedWaits = 2;  // the same, where the service names no time
constexpr int kMaxSilences = 8;      // requests in a row without an answer, before the service counts as gone
constexpr int kMaxForgottenSessions = 3;
constexpr int kMaxRefusedAlone = 8;  // refused resources for which it is asked whether the session is still there
constexpr std::size_t kBytesAtOnce = std::size_t{128} << 20;  // of all responses that are under way
constexpr std::size_t kLeastBody = std::size_t{16} << 20;
constexpr std::size_t kMostBody = std::size_t{32} << 20;
constexpr std::size_t kMostBytes = std::size_t{128} << 20;  // of all responses of a reading

/// A redirect and a service that is busy may come before the account is looked at.
bool ShowsThatLoginHolds(int status) {
  return status < 300 || (status >= 400 && status < 500 && status != Session::kRefused && status != kTooManyRequests);
}

std::string OriginOf(const KelvarConnection::ConnectionInfo& info) {
  const bool literal = info.Host.find(':') != std::string::npos && info.Host.front() != '[';
  return (literal ? "https://[" + info.Host + "]:" : "https://" + info.Host + ":") + std::to_string(info.Port);
}

Rest::MultiTransfer::Options TransferOptions(const InventoryReaderOptions& options) {
  Rest::MultiTransfer::Options transfer;
  transfer.connections = options.requests_at_once;
  transfer.tlsCaFile = options.connection.tls_ca_file;
  transfer.tlsPinnedFingerprint = options.connection.tls_pinned_fingerprint;
  transfer.maxBodyBytes = std::clamp(kBytesAtOnce / options.requests_at_once, kLeastBody, kMostBody);
  if (options.connection.response_limit_bytes != 0) {
    transfer.maxBodyBytes = std::min<u64>(transfer.maxBodyBytes, options.connection.response_limit_bytes);
  }
  return transfer;
}

std::size_t MostBytesOf(const ConnectionOptions& options) {
  constexpr u64 kResponses = 8;
  const u64 limit = options.response_limit_bytes;
  return limit == 0 || limit > kMostBytes / kResponses ? kMostBytes : static_cast<std::size_t>(limit * kResponses);
}

}  // namespace

std::optional<seconds> RetryAfter(const std::string& header, std::time_t now) {
  if (!header.empty() && header.size() < 8 && header.find_first_not_of("0123456789") == std::string::npos) {
    return seconds(std::stol(header));
  }
  const std::time_t date = header.empty() ? -1 : curl_getdate(header.c_str(), nullptr);
  if (date < 0) {
    return std::nullopt;
  }
  return seconds(std::max<std::time_t>(0, date - now));
}

Fetcher::Fetcher(const ReadRequest& request)
    : request_(request),
      origin_(OriginOf(request.info)),
      transfer_(TransferOptions(request.options)),
      session_(request.info, origin_),
      mostBytes_(MostBytesOf(request.options.connection)),
      connections_(request.options.requests_at_once) {}

Fetcher::~Fetcher() {
  try {
    transfer_.Abort();
    if (request_.kept == nullptr || !session_.Release(*request_.kept)) {
      CloseSession();
    }
  } catch (const std::exception& error) {
    KELVAR_LOG(1) << "The Redfish session could not be closed: " << error.what();
  }
}

void Fetcher::Get(std::string path, Handler handler) {
  Job job;
  job.path = std::move(path);
  job.handler = std::move(handler);
  queue_.push_back(std::move(job));
}

void Fetcher::Stop(FailureCause cause, const std::string& reason) {
  if (stopped_ == FailureCause::None) {
    stopped_ = cause;
    stopReason_ = Text::EscapeControl(reason);
    KELVAR_LOG(2) << "Reading " << origin_ << " ends: " << stopReason_;
  }
}

void Fetcher::Run() {
  while (!queue_.empty() || !active_.empty()) {
    if (request_.IsOver()) {
      Stop(FailureCause::Deadline, "the time for the reading was over");
    }
    if (stopped_ != FailureCause::None) {
      DropAll();
      continue;
    }
    StartJobs();
    std::vector<Rest::TransferResult> ended = std::move(early_);
    early_.clear();
    if (ended.empty()) {
      ended = transfer_.Wait(NextWait());
    }
    for (Rest::TransferResult& result : ended) {
      Handle(result);
    }
  }
}

void Fetcher::DropAll() {
  transfer_.Abort();
  early_.clear();
  std::deque<Job> dropped = std::move(queue_);
  queue_.clear();
  for (auto& [id, job] : active_) {
    dropped.push_back(std::move(job));
  }
  active_.clear();
  for (Job& job : dropped) {
    Reply reply;
    reply.cause = stopped_;
    reply.error = stopReason_;
    job.handler(reply);
  }
}

milliseconds Fetcher::Timeout() const {
  // A resource that hangs is given up the sooner, the quicker the service was until then.
  const double limit = std::clamp(30 * slowest_, 20.0, 60.0);
  return milliseconds(static_cast<long>(limit * 1000));
}

milliseconds Fetcher::Quiet() const {
  return std::max(request_.leastQuiet, milliseconds(static_cast<long>(30 * slowest_ * 1000)));
}

milliseconds Fetcher::ConnectTimeout() const {
  // One connection has been opened: whether there may be another one shows soon.
  const double limit = answered_ ? std::clamp(30 * slowest_, 3.0, 15.0) : 15.0;
  return milliseconds(static_cast<long>(limit * 1000));
}

std::size_t Fetcher::Limit() const noexcept {
  // A wrong password is sent once, not by all requests at once.
  const bool untried = !acceptedInSession_ && !session_.IsAnonymous() && !session_.IsOpen();
  return untried ? 1 : connections_;
}

Rest::TransferRequest Fetcher::GetRequest(const std::string& path) const {
  Rest::TransferRequest request;
  request.url = origin_ + path;
  request.headers = {"Accept: application/json", "OData-Version: 4.0"};
  session_.Authorize(request);
  return request;
}

void Fetcher::StartJobs() {
  const auto now = Clock::now();
  for (auto job = queue_.begin(); job != queue_.end() && transfer_.Active() < Limit();) {
    if (job->notBefore > now) {
      ++job;
      continue;
    }
    Rest::TransferRequest request = GetRequest(job->path);
    request.timeout = answered_ ? Timeout() : milliseconds(60'000);
    request.connectTimeout = ConnectTimeout();
    request.quiet = job->fresh ? milliseconds(0) : Quiet();
    request.fresh = job->fresh;
    job->anonymous = session_.IsAnonymous();
    job->sessionNumber = sessionNumber_;
    ++job->transmissions;
    const u64 id = nextId_++;
    transfer_.Start(id, std::move(request));
    active_.emplace(id, std::move(*job));
    job = queue_.erase(job);
  }
}

milliseconds Fetcher::NextWait() const {
  auto until = Clock::now() + seconds(1);
  if (request_.deadline) {
    until = std::min(until, *request_.deadline);
  }
  if (transfer_.Active() < Limit()) {
    for (const Job& job : queue_) {
      until = std::min(until, job.notBefore);
    }
  }
  return std::max(milliseconds(1), std::chrono::ceil<milliseconds>(until - Clock::now()));
}

void Fetcher::Handle(Rest::TransferResult& result) {
  const auto found = active_.find(result.id);
  if (found == active_.end()) {
    return;
  }
  Job job = std::move(found->second);
  active_.erase(found);
  const bool lost = stopped_ == FailureCause::None && IsLost(job, result);
  if (!lost) {
    Record("GET", job.path, result, job.transmissions);
  }
  slowest_ = result.timedOut ? slowest_ : std::max(slowest_, result.seconds);
  if (result.cause != FailureCause::None) {
    NoteSilence(result, lost);
  } else {
    answered_ = true;
    silences_ = 0;
    const bool accepted = !job.anonymous && ShowsThatLoginHolds(result.status);
    accepted_ = accepted_ || accepted;
    acceptedInSession_ = acceptedInSession_ || (accepted && job.sessionNumber == sessionNumber_);
  }
  if (stopped_ == FailureCause::None && (lost ? TryElsewhere(job, result) : TryAgain(job, result))) {
    queue_.push_front(std::move(job));
    return;
  }
  Deliver(job, result);
}

void Fetcher::NoteSilence(const Rest::TransferResult& result, bool lost) {
  if (result.silent) {
    return;  // of the connection, not yet of the service
  }
  if (LacksConnection(result) && connections_ > 1) {
    --connections_;
    return;
  }
  if (lost && result.connected) {
    return;  // the same: the request is sent over another one
  }
  ++silences_;
  if (result.cause == FailureCause::TooLarge) {
    silences_ = 0;
  }
  if (silences_ >= kMaxSilences) {
    Stop(result.cause, "the service answers no more: " + result.error);
  }
}

/// Some services take few connections at a time.
bool Fetcher::LacksConnection(const Rest::TransferResult& result) const noexcept {
  return answered_ && !result.connected && result.cause != FailureCause::None;
}

/// Whether it was the connection that failed, which is worth another one.
bool Fetcher::IsLost(const Job& job, const Rest::TransferResult& result) const noexcept {
  const bool cutShort = result.cause == FailureCause::Unreachable || result.cause == FailureCause::BadData;
  const bool broken = cutShort && !result.timedOut && (answered_ || result.connected);
  const bool lacks = LacksConnection(result);
  return result.silent || (lacks && connections_ > 1) || ((broken || lacks) && !job.wasLost);
}

bool Fetcher::TryElsewhere(Job& job, const Rest::TransferResult& result) const {
  job.fresh = result.connected;  // else one of those that are open
  job.wasLost = true;
  KELVAR_LOG(3) << "GET " << job.path << " is sent again: " << result.error;
  return true;
}

bool Fetcher::TryAgain(Job& job, const Rest::TransferResult& result) {
  switch (result.status) {
    case 401:
      return TryAfterRefusal(job, result);
    case 429:
    case 503:
      return TryAfterPause(job, result);
    case 301:
    case 302:
    case 303:
    case 307:
    case 308:
      return TryRedirect(job, result);
    default:
      return false;
  }
}

bool Fetcher::TryAfterRefusal(Job& job, const Rest::TransferResult& result) {
  if (job.anonymous) {  // the service wants an account even for its root
    if (session_.IsAnonymous()) {
      UseBasic();
    }
    return true;
  }
  if (job.sessionNumber < sessionNumber_) {  // of the session before
    return true;
  }
  const bool mayHold = acceptedInSession_ || (session_.IsOpen() && forgottenSessions_ > 0);
  if (mayHold && IsRefusedAlone()) {
    return false;
  }
  if (!session_.IsOpen()) {
    Stop(FailureCause::LoginRefused, "the login was refused" + Explanation(result.body));
    return false;
  }
  const bool forgotten = std::exchange(adopted_, false) || acceptedInSession_;
  CloseSession();  // it may be the resource alone that is refused
  if (forgotten && forgottenSessions_ < kMaxForgottenSessions) {
    ++forgottenSessions_;
    KELVAR_LOG(3) << "The Redfish service has forgotten the session; a new one is opened";
    Login(sessionsPath_);
    return stopped_ == FailureCause::None;
  }
  KELVAR_LOG(2) << "The Redfish service does not keep its sessions; basic authentication is used";
  UseBasic();
  return true;
}

/// Whether the login holds, and the service refuses one resource.
bool Fetcher::IsRefusedAlone() {
  if (!session_.IsOpen() || refusedAlone_ >= kMaxRefusedAlone) {
    return true;
  }
  if (forgottenSessions_ == 0) {
    return false;  // a new session shows it, also where the service shows its sessions to everybody
  }
  const bool alone = !HasForgottenSession();
  refusedAlone_ += alone ? 1 : 0;
  return alone;
}

void Fetcher::UseBasic() {
  session_.UseBasic();
  ++sessionNumber_;
  acceptedInSession_ = false;
}

bool Fetcher::TryAfterPause(Job& job, const Rest::TransferResult& result) {
  const auto asked = RetryAfter(result.retryAfter, std::time(nullptr));
  if (job.waits >= (asked ? kMaxWaits : kMaxUnaskedWaits)) {
    return false;
  }
  job.notBefore = Clock::now() + asked.value_or(seconds(2 + 3 * job.waits));
  const auto limit = request_.deadline.value_or(Clock::now() + seconds(180));
  ++job.waits;
  if (job.notBefore >= limit) {
    return false;
  }
  DiagnosticsRecorder::NoteWait(result.status == kTooManyRequests ? "HTTP 429, too many requests"
                                                                  : "HTTP 503, the service is starting");
  return true;
}

bool Fetcher::TryRedirect(Job& job, const Rest::TransferResult& result) {
  // A service behind a proxy that has its TLS may not know that it is asked over TLS.
  const bool isPlain = result.location.starts_with("http://");
  const auto link = ParseLink(isPlain ? "https" + result.location.substr(4) : result.location, origin_);
  if (!link || link->path == job.path || ++job.redirects > kMaxRedirects) {
    return false;
  }
  job.path = link->path;
  return true;
}

void Fetcher::Deliver(Job& job, Rest::TransferResult& result) {
  DiagnosticsRecorder::NoteWait("");
  Reply reply;
  reply.status = result.status;
  reply.cause = result.cause;
  reply.error = std::move(result.error);
  reply.body = std::move(result.body);
  received_ += reply.body.size();
  if (reply.body.rfind("\xEF\xBB\xBF", 0) == 0) {
    reply.body.erase(0, 3);  // a byte order mark
  }
  if (received_ > mostBytes_) {
    Stop(FailureCause::TooLarge, "the service sends more than " + std::to_string(mostBytes_ >> 20) + " MiB");
  }
  if (reply.cause == FailureCause::None && (reply.status < 200 || reply.status > 299)) {
    reply.cause = Http::CauseOfStatus(reply.status);
    reply.cause = reply.cause == FailureCause::None ? FailureCause::BadData : reply.cause;
    reply.error = "HTTP " + std::to_string(reply.status) + Explanation(reply.body);
  }
  job.handler(reply);
}

/// What the service says about a refusal, to follow a text; nothing where it repeats what is secret.
std::string Fetcher::Explanation(const std::string& body) const {
  constexpr std::size_t kMostShown = 300;
  const std::string message = ErrorMessage(body);
  const bool shown = !message.empty() && !session_.IsSecretIn(message);
  return shown ? ": " + Text::EscapeControl(message.substr(0, kMostShown)) : "";
}

void Fetcher::Record(const std::string& method, const std::string& path, const Rest::TransferResult& result,
                     u32 transmissions) {
  DiagnosticExchange exchange;
  exchange.protocol = "redfish";
  exchange.request = method + ' ' + path;
  exchange.response = result.cause == FailureCause::None ? "HTTP " + std::to_string(result.status) : result.error;
  exchange.status = result.status;
  exchange.bytes = result.body.size();
  exchange.seconds = result.seconds;
  exchange.transmissions = transmissions;
  exchange.cause = result.cause == FailureCause::None ? Http::CauseOfStatus(result.status) : result.cause;
  // One resource that the account may not read is no refused login, and a service may live without sessions.
  const bool answers = result.cause == FailureCause::None && result.status >= 400;
  const bool login = method == "POST" ? result.status == 401 : method == "GET" && !accepted_ && !session_.IsAnonymous();
  if (answers && (method != "GET" || exchange.cause == FailureCause::LoginRefused) && !login) {
    exchange.cause = FailureCause::NotOffered;
  }
  DiagnosticsRecorder::Add(exchange);
  KELVAR_LOG(4) << "Redfish " << exchange.request << " -> " << exchange.response << ", " << exchange.bytes << " bytes, "
                << exchange.seconds << " s";
}

}  // namespace Kelvar::Reader
