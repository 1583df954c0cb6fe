#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kelvar/ConnectionInfo.h>

#include "module/reader/FamilyReader.h"
#include "transport/rest/MultiTransfer.h"

namespace Kelvar::Reader {

/// How requests show who asks: nothing, the account itself, or a session of the service. Composes the requests and
/// judges their results; sends nothing.
class Session {
 public:
  static constexpr int kRefused = 401;  ///< HTTP status of what needs an account or another session

  Session(const KelvarConnection::ConnectionInfo& info, std::string origin);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Puts what shows the account into a request.
  void Authorize(Rest::TransferRequest& request) const;
  void UseBasic() noexcept { basic_ = true; }
  bool IsOpen() const noexcept { return !token_.empty(); }
  bool IsAnonymous() const noexcept { return !basic_ && token_.empty(); }
  /// Whether a text holds what shows the account or the session.
  bool IsSecretIn(std::string_view text) const noexcept;

  Rest::TransferRequest OpenRequest(const std::string& sessionsPath) const;
  enum class Opened {
    Yes,
    LoginRefused,
    NoSession,  ///< the service gives none; the account may be right all the same
  };
  /// `sessionsPath`: where it was opened.
  Opened TakeOpened(const Rest::TransferResult& result, std::string_view sessionsPath);

  /// Whether it is known where the session is.
  bool HasPath() const noexcept { return !path_.empty(); }
  const std::string& Path() const noexcept { return path_; }
  void SetPath(std::string path) { path_ = std::move(path); }

  /// The request that closes the session; nothing when none is open, or the service has not said where it is.
  std::optional<Rest::TransferRequest> CloseRequest() const;
  /// Takes over a session that an earlier reading has left open.
  void Adopt(KeptSession& kept) noexcept;
  /// Leaves the session open for a later reading. False when none is open that could be closed later.
  bool Release(KeptSession& kept) noexcept;
  /// The session is gone on the service's side.
  void Forget() noexcept;

 private:
  const KelvarConnection::ConnectionInfo& info_;
  const std::string origin_;
  bool basic_ = false;
  std::string token_;
  std::string path_;  ///< of the session's resource
};

}  // namespace Kelvar::Reader
