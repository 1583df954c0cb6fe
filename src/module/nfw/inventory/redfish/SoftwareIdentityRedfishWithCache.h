#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <kelvar/ConnectionInfo.h>
#include <kelvar/Diagnostics.h>
#include <kelvar/InventoryRecords.h>
#include <kelvar/RestClient.h>

namespace Kelvar {

/// The software identities of one Redfish service, remembered for a minute.
///
/// One request for the expanded firmware inventory fills all identities; where the service refuses or ignores the
/// expansion, each of kIdentifiers, and any other identity that is asked for, is requested by itself. A service that
/// could not be reached or refused the login is left alone for 5 seconds, so that asking for seven identities costs one
/// time-out. What is older than a minute is forgotten when other connections come, so that reading many targets does
/// not keep them all. A fill goes over the client of who asks, or over a connection of its own, which is not kept. Safe
/// from any thread; a fill makes others that ask for the same connection wait.
class SoftwareIdentityRedfishWithCache {
 public:
  using Clock = std::chrono::steady_clock;

  /// The identities that an inventory asks for.
  static constexpr std::array<const char*, 7> kIdentifiers = {"BMC-Primary",        "BMC-Backup",       "UEFI", "Brenn",
                                                              "BrennWindowsDriver", "BrennLinuxDriver", "Sorel"};

  /// How the cache reaches its service, and the time; for tests.
  struct Dependencies {
    std::function<std::unique_ptr<Rest::RestClientInterface>()> makeClient;
    std::function<Clock::time_point()> now;
  };

  /// The one object of a connection, which lives as long as the process. It keeps no account: what it asks goes over
  /// the caller's client.
  static SoftwareIdentityRedfishWithCache* GetInstance(const KelvarConnection::ConnectionInfo& info);

  explicit SoftwareIdentityRedfishWithCache(const KelvarConnection::ConnectionInfo& info);
  SoftwareIdentityRedfishWithCache(const KelvarConnection::ConnectionInfo& info, Dependencies dependencies);

  /// 0 and the whole record when the service has the identity, such as "BMC-Primary"; else -1, and `identity` is left
  /// alone. What is asked for on the way goes over `client`, which is set up for the same service; over a client of its
  /// own when there is none and the object can make one.
  int GetSoftwareIdentityViaID(const std::string& id, KelvarOptions::SoftwareIdentity_& identity,
                               Rest::RestClientInterface* client = nullptr);

  /// Gives back the memory of what is too old to be told, unless a fill is under way.
  void ForgetStale();

 private:
  /// What a service tells of an identity: a quarter of the whole record.
  struct Resource {
    std::string id;
    std::string name;
    std::string description;
    std::string manufacturer;
    std::string softwareId;
    std::string version;
    std::string releaseDate;
  };
  struct Failure {
    std::string text;  ///< what was logged
    FailureCause cause;
  };
  class Fill;

  void Refresh(const std::string& id, Rest::RestClientInterface* client);
  bool IsFresh() const;
  void Forget();
  void TellAgain(const std::string& id) const;

  const KelvarConnection::ConnectionInfo info_;
  const Dependencies dependencies_;
  std::mutex mutex_;
  std::map<std::string, std::optional<Resource>> identities_;  ///< none: the service does not have it
  bool complete_ = false;                                      ///< what is not in the map does not exist
  bool failed_ = false;
  std::map<std::string, Failure> failures_;  ///< by identifier; "" is the whole fill's
  std::optional<Clock::time_point> filledAt_;
};

}  // namespace Kelvar
