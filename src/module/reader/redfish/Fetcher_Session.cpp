#include <algorithm>
#include <ctime>
#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/json/JsonDocument.h"
#include "common/log/LogMacros.h"
#include "module/reader/redfish/Fetcher.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr milliseconds kSessionGrace{5000};  // beyond the deadline, so that no session is left open
constexpr u64 kPerformed = 0;                // id of the request that Perform() waits for
constexpr int kMaxOpenWaits = 3;
constexpr int kMaxCloses = 4;

bool IsRedirect(int status) {
  return status == 301 || status == 302 || status == 307 || status == 308;
}

bool IsBusy(const Rest::TransferResult& result) {
  return result.cause == FailureCause::None && (result.status == 503 || result.status == 429);
}

}  // namespace

Rest::TransferResult Fetcher::Perform(Rest::TransferRequest request, milliseconds grace) {
  auto end = Clock::now() + milliseconds(30'000);
  if (request_.deadline) {
    end = std::min(end, std::max(*request_.deadline, Clock::now()) + grace);
  }
  request.timeout = std::chrono::ceil<milliseconds>(end - Clock::now());
  transfer_.Start(kPerformed, std::move(request));
  for (;;) {
    std::optional<Rest::TransferResult> performed;
    for (Rest::TransferResult& result : transfer_.Wait(milliseconds(1000))) {
      if (result.id == kPerformed) {
        performed = std::move(result);
      } else {
        early_.push_back(std::move(result));
      }
    }
    if (performed) {
      return std::move(*performed);
    }
  }
}

/// The pause that a busy service asks for. False where it asks for none, or for one that ends after `limit`.
bool Fetcher::Pause(const Rest::TransferResult& result, Clock::time_point limit) {
  const auto asked = IsBusy(result) ? RetryAfter(result.retryAfter, std::time(nullptr)) : std::nullopt;
  const auto now = Clock::now();
  if (!asked || *asked >= limit - now) {
    return false;
  }
  for (const auto end = now + *asked; Clock::now() < end;) {
    for (Rest::TransferResult& ended : transfer_.Wait(std::chrono::ceil<milliseconds>(end - Clock::now()))) {
      early_.push_back(std::move(ended));
    }
  }
  return true;
}

Rest::TransferResult Fetcher::PostSession() {
  Rest::TransferResult result = Perform(session_.OpenRequest(sessionsPath_), kSessionGrace);
  Record("POST", sessionsPath_, result, 1);
  return result;
}

Rest::TransferResult Fetcher::OpenSession() {
  Rest::TransferResult result = PostSession();
  const auto elsewhere = IsRedirect(result.status) ? ParseLink(result.location, origin_) : std::nullopt;
  if (elsewhere && elsewhere->path != sessionsPath_) {  // a service that minds the slash
    sessionsPath_ = elsewhere->path;
    result = PostSession();
  }
  const auto limit = request_.deadline.value_or(Clock::now() + seconds(60));
  for (int waits = 0; waits < kMaxOpenWaits && !request_.IsOver() && Pause(result, limit); ++waits) {
    result = PostSession();
  }
  return result;
}

Rest::TransferResult Fetcher::AskAboutSession(const std::string& path) {
  Rest::TransferResult result = Perform(GetRequest(path), kSessionGrace);
  Record("GET", path, result, 1);
  return result;
}

bool Fetcher::HasForgottenSession() {
  return AskAboutSession(session_.HasPath() ? session_.Path() : sessionsPath_).status == Session::kRefused;
}

/// A session that the service has not named: the one that it lists, where that is the only one.
void Fetcher::FindSession() {
  Rest::TransferResult result = AskAboutSession(sessionsPath_);
  const auto document = result.status == 200 ? JsonDocument::Read(std::move(result.body)) : std::nullopt;
  const auto members = document ? document->Root()["Members"].Elements() : std::vector<JsonValue>();
  const auto link =
      members.size() == 1 ? ParseLink(members.front()["@odata.id"].String().value_or(""), origin_) : std::nullopt;
  if (link) {
    session_.SetPath(link->path);
  } else {
    KELVAR_LOG(2) << "The Redfish service has not said where its session is; it cannot be closed";
  }
}

void Fetcher::Login(const std::string& sessionsPath) {
  using Authentication = InventoryReaderOptions::Authentication;
  sessionsPath_ = sessionsPath;
  if (request_.info.UserName.empty()) {
    return;  // no account: the service may show what it shows everybody
  }
  if (request_.options.authentication == Authentication::Basic || sessionsPath.empty()) {
    UseBasic();
    return;
  }
  if (AdoptKept()) {
    return;
  }
  if (!HasTimeForSession()) {
    Stop(FailureCause::Deadline, "the time for the reading was over before a session was open");
    return;
  }
  ++sessionNumber_;
  acceptedInSession_ = false;
  const Rest::TransferResult result = OpenSession();
  switch (session_.TakeOpened(result, sessionsPath_)) {
    case Session::Opened::Yes:
      if (!session_.HasPath()) {
        FindSession();
      }
      return;
    case Session::Opened::LoginRefused:
      Stop(FailureCause::LoginRefused, "the login was refused" + Explanation(result.body));
      return;
    case Session::Opened::NoSession:
      CloseSession();
      if (request_.options.authentication == Authentication::Session) {
        Stop(FailureCause::Refused, "the service gives no session" + Explanation(result.body));
      }
      UseBasic();
  }
}

/// One that opens after the deadline is of no use, and perhaps there is no time left to close it.
bool Fetcher::HasTimeForSession() const {
  return !request_.deadline || Clock::now() + std::chrono::duration<double>(slowest_) < *request_.deadline;
}

bool Fetcher::AdoptKept() {
  if (request_.kept == nullptr || request_.kept->token.empty()) {
    return false;
  }
  session_.Adopt(*request_.kept);
  adopted_ = true;
  return true;
}

void Fetcher::CloseKept() {
  if (AdoptKept()) {
    CloseSession();
  }
}

void Fetcher::CloseSession() {
  const auto limit = Clock::now() + kSessionGrace;
  bool paused = false;
  for (int attempt = 0; attempt < 2 || (paused && attempt < kMaxCloses); ++attempt) {
    auto request = session_.CloseRequest();
    if (!request) {
      return;
    }
    const std::string path = request->url.substr(origin_.size());
    request->timeout = kSessionGrace;
    request->quiet = request_.leastQuiet;
    request->fresh = attempt > 0;
    const Rest::TransferResult result = Perform(std::move(*request), kSessionGrace);
    Record("DELETE", path, result, 1);
    paused = Pause(result, limit);
    if (!paused && result.status >= 200 && result.status < 500) {
      break;
    }
  }
  session_.Forget();
}

}  // namespace Kelvar::Reader
