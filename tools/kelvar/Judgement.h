#pragma once

#include <string>

#include <kelvar/Diagnostics.h>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Operations.h"

namespace Kelvar::Tool {

/// What an operation came to, for scripts and for people.
struct Judgement {
  ExitCode code = ExitCode::Complete;
  std::string note;  ///< empty when complete
  std::string why;   ///< may be empty
};

/// Judges by the records, which all hold facts, by what the operation met on its way and, where these say nothing, by
/// what it returned. `understood`: the target has shown before that it is the expected service.
Judgement Judge(const Operation& operation, const Outcome& outcome, const Diagnostics& met, bool understood);

/// The cause of what was met, by a target that has shown to be the expected service when `understood`.
FailureCause CauseOf(const Diagnostics& met, bool understood);

}  // namespace Kelvar::Tool
