#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/Types.h>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool {

/// What the library's log said during one step.
struct Findings {
  unsigned gaps = 0;                   ///< failures, and exceptions and gaps that were survived
  std::optional<ExitCode> cause;       ///< why, where a record tells: unreachable, login refused, TLS, not offered
  std::string why;                     ///< the first of the gaps in the library's words
  std::vector<std::string> exchanges;  ///< requests and their answers, when they were asked for
};

/// While one lives, the library's trace is watched too, on all threads: CIM operations tell of some failures there
/// alone.
class TraceWatch {
 public:
  TraceWatch();
  ~TraceWatch();
  TraceWatch(const TraceWatch&) = delete;
  TraceWatch& operator=(const TraceWatch&) = delete;
};

/// Whether a code of curl tells of TLS.
bool IsTlsFailure(int curlCode);

/// The cause that one record tells, if it does.
std::optional<ExitCode> CauseOf(std::string_view record);

/// Shows the library's log on standard error and watches it, for results alone do not tell what is missing: an
/// operation succeeds over the parts that it could not read. One object in the process; each thread sees what its own
/// calls of the library logged.
class LogWatch {
 public:
  /// Records of levels up to `shownLevel` are shown. `exchanges`: requests and their answers are collected.
  explicit LogWatch(u32 shownLevel, bool exchanges = false);
  ~LogWatch();
  LogWatch(const LogWatch&) = delete;
  LogWatch& operator=(const LogWatch&) = delete;

  /// What the calling thread found since its last call.
  Findings Take();

  /// From here on the failures that the calling thread logs are shown only when more than failures is wanted; or are
  /// shown again.
  void Hush(bool hush);

  /// From here on what the calling thread logs is shown with this in front.
  void NameThread(const std::string& name);
};

}  // namespace Kelvar::Tool
