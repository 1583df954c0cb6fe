#pragma once

#include <memory>
#include <string>

#include <kelvar/Export.h>
#include <kelvar/Types.h>

namespace Kelvar {

/// How a connection is made, beside what ConnectionInfo says. The defaults hold for everything that is made without it.
struct ConnectionOptions {
  /// Which IPMI session a target gets. Nothing that a target sends lowers what is chosen here.
  enum class IpmiSession : u8 {
    RmcpPlus,        ///< IPMI 2.0 alone, by the cipher suite of ConnectionInfo
    Ipmi15Md5,       ///< IPMI 1.5 with MD5 authentication
    Ipmi15Password,  ///< IPMI 1.5; the password goes over the network in clear text
  };
  IpmiSession ipmi_session = IpmiSession::RmcpPlus;  ///< IPMI over the network
  /// IPMI 2.0: the BMC key K_G, at most 20 bytes; empty: the target has none set.
  std::string ipmi_kg_key;
  /// Redfish and CIM over TLS: file with the certificates that may sign the target's; empty: no verification.
  std::string tls_ca_file;
  /// Redfish and CIM over TLS: SHA-256 fingerprint of the target's certificate as 64 hexadecimal digits, with or
  /// without colons; empty: not checked.
  std::string tls_pinned_fingerprint;
  static constexpr u32 kDefaultOperationLimitSeconds = 300;  ///< default of operation_limit_seconds
  /// Bound of one operation, in seconds; 0: the operation's own waits alone. No request begins after it. Over Redfish
  /// and CIM a request that has begun ends with its own time-out; a bound below the default cuts it too.
  u32 operation_limit_seconds = kDefaultOperationLimitSeconds;
  /// Redfish and CIM: bound of one response's body in bytes; what is longer counts as invalid. Only lowers the bounds
  /// of the transports (64 MiB and 256 MiB); 0: those.
  u64 response_limit_bytes = 0;
  /// Redfish and CIM: most records of one list that an operation fills; with more it fails and leaves those it has.
  /// What is in force when the operation begins counts. 0: as many as a response holds.
  u32 record_limit = 0;
  /// After one refused login (HTTP 401, CIM access denied, an IPMI session refused for user or password) the objects
  /// that are made in the same scope send nothing more: what they would ask ends as if it were refused again.
  bool stop_after_refused_login = false;
  /// Redfish: redirects go to https only, and the account goes along only within the target's host and port. Without it
  /// the account goes wherever a redirect leads.
  bool keep_account_from_other_hosts = false;
  /// CIM: a threshold that a sensor lacks is absent. Without it the record repeats that of the sensor before.
  bool no_thresholds_of_other_sensors = false;
};

struct KeptConnectionOptions;
class LoginGuard;

/// While it lives, objects that the calling thread makes (NodeFirmwareInventory, its backends, InventoryReader) take
/// their options from here, and keep them. Scopes nest; the inner one counts. Must end on the thread that made it, in
/// reverse order.
class KELVAR_EXPORT ConnectionOptionsScope {
 public:
  /// Keeps a copy of `options`.
  explicit ConnectionOptionsScope(const ConnectionOptions& options);
  ~ConnectionOptionsScope();
  ConnectionOptionsScope(const ConnectionOptionsScope&) = delete;
  ConnectionOptionsScope& operator=(const ConnectionOptionsScope&) = delete;

  /// The options in force on the calling thread.
  static const ConnectionOptions& Current() noexcept;

 private:
  friend struct KeptConnectionOptions;
  /// Options and guard of another scope, for an object that was made in it.
  explicit ConnectionOptionsScope(const KeptConnectionOptions& keptOptions);

  ConnectionOptions options_;
  std::shared_ptr<LoginGuard> guard_;
  const ConnectionOptionsScope* outer_;
};

}  // namespace Kelvar
