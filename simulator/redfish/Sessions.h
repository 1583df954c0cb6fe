#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/machine/Machine.h"

namespace Kelvar::Simulator {

/// The sessions of a Redfish service. Safe to use from any thread.
class Sessions {
 public:
  static constexpr std::string_view kUsualPath = "/redfish/v1/SessionService/Sessions";
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  struct Opened {
    std::string path;
    std::string token;
    std::string page;
  };

  /// `path` is that of the collection.
  explicit Sessions(std::string path = std::string(kUsualPath), SessionLimits limits = {},
                    Clock clock = std::chrono::steady_clock::now);

  const std::string& Path() const { return path_; }
  /// Nothing when there are as many as the limit allows.
  std::optional<Opened> Open(const std::string& user);
  /// Whether a request with this token is let in; it counts as one, and keeps the session from timing out.
  bool Admit(const std::string& token);
  /// Whether there was one at the path.
  bool Close(std::string_view sessionPath);
  /// The page of the collection or of one session, or nothing.
  std::optional<std::string> Find(std::string_view pagePath) const;
  std::size_t OpenCount() const;

 private:
  struct Session {
    std::string user;
    std::string token;
    std::chrono::steady_clock::time_point lastUse;
    std::size_t requests = 0;
  };

  void RemoveExpired();

  const std::string path_;
  const SessionLimits limits_;
  const Clock clock_;
  mutable std::mutex mutex_;
  unsigned last_ = 0;
  std::map<std::string, Session, std::less<>> sessions_;
};

}  // namespace Kelvar::Simulator
