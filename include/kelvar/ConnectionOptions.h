#pragma once

#include <memory>
#include <string>

#include <kelvar/Export.h>
#include <kelvar/Types.h>

namespace Kelvar {

/// How a connection is made, in addition to ConnectionInfo. Objects made without it use the defaults.
struct ConnectionOptions {
  /// Which IPMI session a target gets. Nothing that a target sends lowers what is chosen here.
  enum class IpmiSession : u8 {
    RmcpPlus,        ///< IPMI 2.0 only, with the cipher suite of ConnectionInfo
    Ipmi15Md5,       ///< IPMI 1.5 with MD5 authentication
    Ipmi15Password,  ///< IPMI 1.5; the password goes over the network in clear text
  };
  IpmiSession ipmi_session = IpmiSession::RmcpPlus;  ///< IPMI over the network
  /// IPMI 2.0: the BMC key K_G, at most 20 bytes; empty: the target has none.
  std::string ipmi_kg_key;
  /// Redfish and CIM over TLS: file with the certificates that may sign the target's; empty: no verification.
  std::string tls_ca_file;
  /// Redfish and CIM over TLS: SHA-256 fingerprint of the target's certificate as 64 hexadecimal digits, with or
  /// without colons; empty: not checked.
  std::string tls_pinned_fingerprint;
  static constexpr u32 kDefaultOperationLimitSeconds = 300;  ///< default of operation_limit_seconds
  /// Bound of one operation, in seconds; 0: only the operation's own waits. No request begins after it. Over Redfish
  /// and CIM a request that has begun ends with its own time-out; a bound below the default cuts it too.
  u32 operation_limit_seconds = kDefaultOperationLimitSeconds;
  /// Redfish and CIM: bound of one response's body in bytes; a longer one counts as invalid. Only lowers the bounds
  /// of the transports (64 MiB and 256 MiB); 0: those bounds. InventoryReader over Redfish: of each response, and eight
  /// times it of all responses of a reading; only lowers its own bounds (32 MiB or less, and 128 MiB).
  u64 response_limit_bytes = 0;
  /// Redfish and CIM: most records of one list that an operation fills; with more it fails and keeps those that it has.
  /// Read when the operation begins. 0: as many as a response holds. InventoryReader over Redfish: most records of all
  /// families of a reading together, which is partial with more; only lowers its own bound (100,000).
  u32 record_limit = 0;
  /// After one refused login (HTTP 401, CIM access denied, an IPMI session refused for user or password) the objects
  /// that were made in the same scope send nothing more: their operations end as if refused again.
  bool stop_after_refused_login = false;
  /// Redfish: redirects are followed to https only, and the account is sent only to the target's own host and port.
  /// Without it the account is sent wherever a redirect leads.
  bool keep_account_from_other_hosts = false;
  /// CIM: a threshold that a sensor lacks is absent. Without it the record repeats that of the previous sensor.
  bool no_thresholds_of_other_sensors = false;
};

struct KeptConnectionOptions;
class LoginGuard;

/// While it exists, objects that the calling thread makes (NodeFirmwareInventory, its backends, InventoryReader) take
/// their options from it, and keep them. Scopes nest; the inner one is in force. Must be destroyed on the thread that
/// made it, in reverse order.
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
