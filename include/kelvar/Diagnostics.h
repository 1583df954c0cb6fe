#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <kelvar/Export.h>
#include <kelvar/Types.h>

namespace Kelvar {

/// Why something could not be read. The order is fixed; new causes are added at the end.
enum class FailureCause : u8 {
  None = 0,        ///< no failure, or no cause is known
  Unreachable,     ///< the name does not resolve, no route, or no response in time
  Refused,         ///< port closed, or no session left
  LoginRefused,    ///< user, password or privilege refused (HTTP 401 and 403, CIM access denied)
  Tls,             ///< TLS handshake or certificate
  NotSuchService,  ///< another kind of service answers
  NotOffered,      ///< the service does not have it
  BadData,         ///< an invalid response
  TooLarge,        ///< a bound of the library was reached
  Deadline,        ///< the time limit of the operation or the reading has passed
};

/// "none", "unreachable", "refused", "login_refused", "tls", "not_such_service", "not_offered", "bad_data",
/// "too_large", "deadline". Never null; any thread.
KELVAR_EXPORT const char* NameOf(FailureCause cause) noexcept;
/// The same as a short English phrase for people. Never null; any thread.
KELVAR_EXPORT const char* DescriptionOf(FailureCause cause) noexcept;

/// One request and what came back.
struct DiagnosticExchange {
  std::string protocol;   ///< "redfish", "cim" or "ipmi"
  std::string request;    ///< such as "GET /redfish/v1/Systems"; never holds a secret
  std::string response;   ///< such as "HTTP 200" or "completion code 0xc1"; without a response, what went wrong
  int status = -1;        ///< HTTP status, CIM status or IPMI completion code; -1 without a response
  u64 bytes = 0;          ///< size of the response's body or data
  double seconds = 0;     ///< from the first transmission to the end of the response
  u32 transmissions = 1;  ///< how often the request was sent
  FailureCause cause = FailureCause::None;  ///< of a failure
};

/// What is missing from a result, and of which kind.
enum class GapKind : u8 {
  Failure,      ///< a request or a step failed
  Unusable,     ///< a response or a part of it was invalid
  LinksOnly,    ///< a collection's members were links, not records
  Truncated,    ///< a bound on items, bytes or time ended the reading
  LostRecords,  ///< records were lost, such as after a lost IPMI reservation
};

/// "failure", "unusable", "links_only", "truncated", "lost_records". Never null; any thread.
KELVAR_EXPORT const char* NameOf(GapKind kind) noexcept;

/// Something that is missing.
struct DiagnosticGap {
  GapKind kind = GapKind::Failure;          ///< which kind of gap
  FailureCause cause = FailureCause::None;  ///< of a failure
  std::string what;                         ///< where: a path, a class, a command, a record
  std::string detail;                       ///< why, for people; holds no control character and no secret
};

/// How the target's certificate was verified.
enum class TlsVerification : u8 {
  None = 0,         ///< not at all: anybody in between can read and change everything
  Authority,        ///< one of the trusted certificates signed the target's
  Pin,              ///< the target's certificate has the fingerprint that was given
  PinAndAuthority,  ///< both
};

/// "none", "ca", "pin", "pin_and_ca". Never null; any thread.
KELVAR_EXPORT const char* NameOf(TlsVerification verification) noexcept;

/// TLS as it was agreed with a target.
struct DiagnosticTls {
  const char* version = "";                              ///< such as "TLSv1.3"; never null
  TlsVerification verification = TlsVerification::None;  ///< of the certificate
  std::int64_t certificate_end =
      0;  ///< when the target's certificate expires, in seconds since 1970 (UTC); 0: not known
};

/// What happened in operations, as data: requests, gaps and causes. DiagnosticsScope records into it.
///
/// Bounded: at most kMaxExchanges exchanges and kMaxGaps gaps are kept, texts are cut to kMaxText bytes; the counts
/// include the rest. Recording never throws: without memory it only counts. One object serves one thread at a time.
class KELVAR_EXPORT Diagnostics {
 public:
  static constexpr std::size_t kMaxExchanges = 4096;  ///< exchanges that are kept
  static constexpr std::size_t kMaxGaps = 1024;       ///< gaps that are kept
  static constexpr std::size_t kMaxText = 512;        ///< bytes of a text that are kept

  Diagnostics();
  ~Diagnostics();
  /// `other` can then only be destroyed or assigned to.
  Diagnostics(Diagnostics&& other) noexcept;
  /// The same.
  Diagnostics& operator=(Diagnostics&& other) noexcept;
  Diagnostics(const Diagnostics&) = delete;
  Diagnostics& operator=(const Diagnostics&) = delete;

  /// The exchanges that are kept, in the order in which they ended.
  const std::vector<DiagnosticExchange>& Exchanges() const noexcept;
  /// The gaps that are kept.
  const std::vector<DiagnosticGap>& Gaps() const noexcept;
  u64 ExchangeCount() const noexcept;  ///< kept or not
  u64 GapCount() const noexcept;       ///< kept or not
  u64 BytesReceived() const noexcept;  ///< over all exchanges, kept or not

  /// Why the target could not be read: the most specific cause that was recorded. A refused login comes before
  /// everything else, any cause before None. It also judges the service as a whole: a target that has nothing of
  /// what was asked for, and has never answered as the expected service, gives NotSuchService; one that has answered
  /// so to other requests gives BadData.
  FailureCause Cause() const noexcept;
  /// Text of the gap or exchange that Cause() comes from; empty without one.
  const std::string& Detail() const noexcept;
  /// Whether the target has ever answered as the service that was expected: Redfish with a service root or resource of
  /// its own, CIM with a CIM response, IPMI with a session.
  bool ServiceUnderstood() const noexcept;
  /// The weakest of the TLS connections with a response: the lowest version and verification, and the earliest
  /// expiry of a certificate. Its version is empty when there was none.
  DiagnosticTls Tls() const noexcept;

  /// Called on the recording thread when a pause of seconds between two tries begins, with the reason, such as "HTTP
  /// 503, the service is starting", and with an empty text when it is over. What it throws is dropped.
  using WaitListener = std::function<void(const char* reason)>;
  /// Replaces the listener; an empty one removes it.
  void SetWaitListener(WaitListener listener);

  /// Forgets what was recorded; the listener stays.
  void Clear() noexcept;

 private:
  friend class DiagnosticsRecorder;
  struct State;
  std::unique_ptr<State> state_;
};

/// While it exists, everything that the calling thread does in the library is recorded in `diagnostics`. Scopes nest:
/// an inner one does not hide an outer one. Must be destroyed on the thread that made it, in reverse order.
class KELVAR_EXPORT DiagnosticsScope {
 public:
  /// `diagnostics` must outlive the scope.
  explicit DiagnosticsScope(Diagnostics& diagnostics) noexcept;
  ~DiagnosticsScope();
  DiagnosticsScope(const DiagnosticsScope&) = delete;
  DiagnosticsScope& operator=(const DiagnosticsScope&) = delete;

 private:
  friend class DiagnosticsRecorder;
  Diagnostics& diagnostics_;
  DiagnosticsScope* outer_;
};

}  // namespace Kelvar
