#pragma once

#include <mutex>
#include <optional>
#include <string_view>

#include <kelvar/Types.h>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool {

/// What the library's log said during one step.
struct Findings {
  unsigned gaps = 0;              ///< failures, and exceptions and gaps that were survived
  std::optional<ExitCode> cause;  ///< why, where a record tells: unreachable, login refused, TLS
};

/// The cause that one record tells, if it does.
std::optional<ExitCode> CauseOf(std::string_view record);

/// Shows the library's log on standard error and watches it, for results alone do not tell what is missing: an
/// operation succeeds over the parts that it could not read. One object at a time.
class LogWatch {
 public:
  /// Records of levels up to `shownLevel` are shown.
  explicit LogWatch(u32 shownLevel);
  ~LogWatch();
  LogWatch(const LogWatch&) = delete;
  LogWatch& operator=(const LogWatch&) = delete;

  /// What was found since the last call.
  Findings Take();

 private:
  void Record(u32 level, std::string_view text);

  std::mutex mutex_;
  Findings findings_;
};

}  // namespace Kelvar::Tool
