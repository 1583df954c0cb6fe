#pragma once

#include <chrono>
#include <ctime>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <kelvar/Diagnostics.h>

#include "module/reader/FamilyReader.h"
#include "module/reader/redfish/Session.h"
#include "transport/rest/MultiTransfer.h"

namespace Kelvar::Reader {

/// What came for a path. Usable when it is a 2xx.
struct Reply {
  int status = -1;
  FailureCause cause = FailureCause::None;  ///< why there is no 2xx
  std::string error;                        ///< the same for people
  std::string body;

  bool IsOk() const noexcept { return cause == FailureCause::None; }
  /// The service has no such resource.
  bool IsMissing() const noexcept { return status == 404 || status == 405 || status == 410; }
};

/// Fetches many resources of one service at once, on the caller's thread: a session or basic authentication,
/// redirects within the origin, waits that the service asks for, one more try after a broken connection, or a kept one
/// that is silent, an end at the deadline, after a refused login, and when the service answers no more. Records every
/// exchange in the diagnostics.
class Fetcher {
 public:
  using Handler = std::function<void(Reply&)>;

  explicit Fetcher(const ReadRequest& request);
  /// Closes the session, or leaves it to the next reading.
  ~Fetcher();
  Fetcher(const Fetcher&) = delete;
  Fetcher& operator=(const Fetcher&) = delete;

  /// "https://HOST:PORT".
  const std::string& Origin() const noexcept { return origin_; }

  /// Queues a request. The handler is called in Run(), also when the request is never sent.
  void Get(std::string path, Handler handler);
  /// Works until the queue is empty.
  void Run();

  /// From here on requests carry a session, or the account where the service gives none. `sessionsPath` is empty where
  /// the service has no sessions.
  void Login(const std::string& sessionsPath);

  /// Closes the session that an earlier reading has left open.
  void CloseKept();

  /// Why nothing is asked any more; None while all is well.
  FailureCause Stopped() const noexcept { return stopped_; }
  const std::string& StopReason() const noexcept { return stopReason_; }
  void Stop(FailureCause cause, const std::string& reason);

 private:
  using Clock = std::chrono::steady_clock;

  struct Job {
    std::string path;
    Handler handler;
    Clock::time_point notBefore{};
    int sessionNumber = 0;  ///< of the session that it was sent with
    int waits = 0;
    int redirects = 0;
    u32 transmissions = 0;
    bool anonymous = false;
    bool fresh = false;    ///< a kept connection was silent
    bool wasLost = false;  ///< with its connection; it is sent once more
  };

  Rest::TransferRequest GetRequest(const std::string& path) const;
  void StartJobs();
  std::size_t Limit() const noexcept;
  std::chrono::milliseconds NextWait() const;
  void Handle(Rest::TransferResult& result);
  bool LacksConnection(const Rest::TransferResult& result) const noexcept;
  bool IsLost(const Job& job, const Rest::TransferResult& result) const noexcept;
  bool TryElsewhere(Job& job, const Rest::TransferResult& result) const;
  bool TryAgain(Job& job, const Rest::TransferResult& result);
  bool TryAfterRefusal(Job& job, const Rest::TransferResult& result);
  std::string Explanation(const std::string& body) const;
  bool IsRefusedAlone();
  bool HasForgottenSession();
  bool AdoptKept();
  bool HasTimeForSession() const;
  bool TryAfterPause(Job& job, const Rest::TransferResult& result);
  bool TryRedirect(Job& job, const Rest::TransferResult& result);
  void NoteSilence(const Rest::TransferResult& result, bool lost);
  void Deliver(Job& job, Rest::TransferResult& result);
  void DropAll();
  Rest::TransferResult Perform(Rest::TransferRequest request, std::chrono::milliseconds grace);
  bool Pause(const Rest::TransferResult& result, Clock::time_point limit);
  Rest::TransferResult PostSession();
  Rest::TransferResult OpenSession();
  Rest::TransferResult AskAboutSession(const std::string& path);
  void FindSession();
  void Record(const std::string& method, const std::string& path, const Rest::TransferResult& result,
              u32 transmissions);
  void UseBasic();
  void CloseSession();
  std::chrono::milliseconds Timeout() const;
  std::chrono::milliseconds Quiet() const;
  std::chrono::milliseconds ConnectTimeout() const;

  const ReadRequest& request_;
  const std::string origin_;
  Rest::MultiTransfer transfer_;
  Session session_;
  std::string sessionsPath_;
  int sessionNumber_ = 0;
  bool adopted_ = false;   ///< the session is an earlier reading's
  bool accepted_ = false;  ///< a request with an account has had its answer
  bool acceptedInSession_ = false;
  int forgottenSessions_ = 0;
  int refusedAlone_ = 0;  ///< resources that were refused although the session holds
  std::deque<Job> queue_;
  std::unordered_map<u64, Job> active_;
  std::vector<Rest::TransferResult> early_;  ///< ended while something else was waited for
  u64 nextId_ = 1;
  double slowest_ = 0;
  int silences_ = 0;
  std::size_t received_ = 0;
  const std::size_t mostBytes_;  ///< of all responses
  std::size_t connections_;      ///< that the service takes
  bool answered_ = false;
  FailureCause stopped_ = FailureCause::None;
  std::string stopReason_;
};

/// How long a Retry-After header asks to wait, in seconds or until a date; nothing for a malformed one.
std::optional<std::chrono::seconds> RetryAfter(const std::string& header, std::time_t now);

}  // namespace Kelvar::Reader
