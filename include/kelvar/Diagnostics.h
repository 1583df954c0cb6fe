#pragma once

#include <cstddef>
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
  Unreachable,     ///< no name, no route, or no answer in time
  Refused,         ///< the host answers, but refuses the connection or has no session left
  LoginRefused,    ///< user, password or privilege refused (HTTP 401 and 403, CIM access denied)
  Tls,             ///< TLS handshake or certificate
  NotSuchService,  ///< something answers that is not the service that was expected
  NotOffered,      ///< the service is understood and does not have it
  BadData,         ///< a response that cannot be used
  TooLarge,        ///< a bound of the library was reached
  Deadline,        ///< the time for the operation or for the reading was over
};

/// "none", "unreachable", "refused", "login_refused", "tls", "not_such_service", "not_offered", "bad_data",
/// "too_large", "deadline". Never null; any thread.
KELVAR_EXPORT const char* NameOf(FailureCause cause) noexcept;
/// The same as a short English phrase for people.
KELVAR_EXPORT const char* DescriptionOf(FailureCause cause) noexcept;

/// One request and what came back.
struct DiagnosticExchange {
  std::string protocol;   ///< "redfish", "cim" or "ipmi"
  std::string request;    ///< such as "GET /redfish/v1/Systems"; never holds a secret
  std::string response;   ///< such as "HTTP 200" or "completion code 0xc1"; what went wrong when nothing came
  int status = -1;        ///< HTTP status, CIM status or IPMI completion code; -1 when nothing came
  u64 bytes = 0;          ///< size of the response's body or data
  double seconds = 0;     ///< from the first transmission to the end of the response
  u32 transmissions = 1;  ///< how often the request was sent
  FailureCause cause = FailureCause::None;  ///< of a failure
};

/// What is missing from a result, and of which kind.
enum class GapKind : u8 {
  Failure,      ///< a request or a step failed
  Unusable,     ///< a response or a part of it could not be used
  LinksOnly,    ///< a collection's members were links, not records
  Truncated,    ///< a bound in items, bytes or time ended the reading
  LostRecords,  ///< records were lost on the way, such as after a lost IPMI reservation
};

/// "failure", "unusable", "links_only", "truncated", "lost_records".
KELVAR_EXPORT const char* NameOf(GapKind kind) noexcept;

/// Something that is missing.
struct DiagnosticGap {
  GapKind kind = GapKind::Failure;          ///< which kind of gap
  FailureCause cause = FailureCause::None;  ///< of a failure
  std::string what;                         ///< where: a path, a class, a command, a record
  std::string detail;                       ///< why, in words for people; holds no control character and no secret
};

/// What operations met on their way, as data. Give it to a thread with DiagnosticsScope.
///
/// Bounded: at most kMaxExchanges exchanges and kMaxGaps gaps are kept, texts are cut to kMaxText bytes; counts go on
/// beyond that. Recording never throws: without memory it only counts. One object serves one thread at a time.
class KELVAR_EXPORT Diagnostics {
 public:
  static constexpr std::size_t kMaxExchanges = 4096;  ///< exchanges that are kept
  static constexpr std::size_t kMaxGaps = 1024;       ///< gaps that are kept
  static constexpr std::size_t kMaxText = 512;        ///< bytes of a text that are kept

  Diagnostics();
  ~Diagnostics();
  /// Leaves `other` to be destroyed or assigned to alone.
  Diagnostics(Diagnostics&& other) noexcept;
  /// The same.
  Diagnostics& operator=(Diagnostics&& other) noexcept;
  Diagnostics(const Diagnostics&) = delete;
  Diagnostics& operator=(const Diagnostics&) = delete;

  /// Those that are kept, in the order in which they ended.
  const std::vector<DiagnosticExchange>& Exchanges() const noexcept;
  /// Those that are kept.
  const std::vector<DiagnosticGap>& Gaps() const noexcept;
  u64 ExchangeCount() const noexcept;  ///< kept or not
  u64 GapCount() const noexcept;       ///< kept or not
  u64 BytesReceived() const noexcept;  ///< over all exchanges, kept or not

  /// Why the target could not be read: the most telling cause of all that was met. A refused login goes before
  /// everything else, a cause before none. The verdict on the service as a whole is part of it: a target that has
  /// nothing of what was asked for, and has never answered as the expected service, is NotSuchService; one that has
  /// answered so elsewhere, and once did not, sent BadData.
  FailureCause Cause() const noexcept;
  /// Text of the gap or exchange that Cause() comes from; empty without one.
  const std::string& Detail() const noexcept;
  /// Whether the target has ever answered as the service that was expected: Redfish with a service root or resource of
  /// its own, CIM with a CIM response, IPMI with a session.
  bool ServiceUnderstood() const noexcept;

  /// Told, on the recording thread, why a pause of seconds between two tries begins, such as "HTTP 503, the service is
  /// starting", and with an empty text when it is over. What it throws is dropped.
  using WaitListener = std::function<void(const char* reason)>;
  /// Replaces the listener; an empty one ends it.
  void SetWaitListener(WaitListener listener);

  /// Forgets what was recorded; the listener stays.
  void Clear() noexcept;

 private:
  friend class DiagnosticsRecorder;
  struct State;
  std::unique_ptr<State> state_;
};

/// While it lives, everything that the calling thread does in the library is recorded in `diagnostics` too. Scopes
/// nest: an inner one does not hide an outer one. Must end on the thread that made it, in reverse order.
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
