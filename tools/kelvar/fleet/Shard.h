#pragma once

#include <string>
#include <string_view>

#include <kelvar/Types.h>

namespace Kelvar::Tool {

/// One of several equal parts of a list of targets, chosen by host alone, so that the protocols of one machine stay
/// together and a host keeps its part when others come and go.
struct Shard {
  u64 index = 0;  ///< from 0
  u64 count = 1;

  /// Whether the 64-bit FNV-1a hash of the host, modulo count, is the index.
  bool Holds(std::string_view host) const;
};

/// "K/N" with K from 1 to N. "auto": the task of a Slurm job array (SLURM_ARRAY_TASK_ID, _MIN, _STEP and _COUNT), or
/// the pod of an indexed Kubernetes job (JOB_COMPLETION_INDEX, and JOB_COMPLETIONS, which the job's description has to
/// set). Throws ToolError (usage) for anything else.
Shard ParseShard(const std::string& text);

}  // namespace Kelvar::Tool
