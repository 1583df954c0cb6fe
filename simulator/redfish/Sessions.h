#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace Kelvar::Simulator {

/// The sessions of a Redfish service. Safe to use from any thread.
class Sessions {
 public:
  static constexpr std::string_view path = "/redfish/v1/SessionService/Sessions";

  struct Opened {
    std::string path;
    std::string token;
    std::string page;
  };

  Opened Open(const std::string& user);
  bool Knows(const std::string& token) const;
  /// Whether there was one at the path.
  bool Close(std::string_view sessionPath);
  /// The page of the collection or of one session, or nothing.
  std::optional<std::string> Find(std::string_view pagePath) const;

 private:
  struct Session {
    std::string user;
    std::string token;
  };

  mutable std::mutex mutex_;
  unsigned last_ = 0;
  std::map<std::string, Session, std::less<>> sessions_;
};

}  // namespace Kelvar::Simulator
