#include "tools/kelvar/fleet/Shard.h"

#include <charconv>
#include <cstdlib>
#include <optional>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool {

namespace {

std::optional<u64> NumberOf(std::string_view text) {
  u64 number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::optional<u64> Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::nullopt : NumberOf(value);
}

[[noreturn]] void Refuse(const std::string& why) {
  throw ToolError(ExitCode::Usage, "--shard: " + why);
}

Shard Checked(u64 index, u64 count) {
  if (index >= count) {
    Refuse("part " + std::to_string(index + 1) + " of " + std::to_string(count) + " does not exist");
  }
  return {index, count};
}

/// An array with holes has no rule by which its tasks could be counted; Checked() refuses most of them.
Shard FromEnvironment() {
  if (const auto task = Variable("SLURM_ARRAY_TASK_ID")) {
    const u64 first = Variable("SLURM_ARRAY_TASK_MIN").value_or(0);
    const u64 step = Variable("SLURM_ARRAY_TASK_STEP").value_or(1);
    const auto count = Variable("SLURM_ARRAY_TASK_COUNT");
    if (!count || *task < first || step == 0) {
      Refuse("SLURM_ARRAY_TASK_COUNT is missing, or SLURM_ARRAY_TASK_ID is below SLURM_ARRAY_TASK_MIN");
    }
    return Checked((*task - first) / step, *count);
  }
  const auto index = Variable("JOB_COMPLETION_INDEX");
  const auto count = Variable("JOB_COMPLETIONS");
  if (!index || !count) {
    Refuse("auto needs SLURM_ARRAY_TASK_ID and _COUNT, or JOB_COMPLETION_INDEX and JOB_COMPLETIONS");
  }
  return Checked(*index, *count);
}

}  // namespace

bool Shard::Holds(std::string_view host) const {
  u64 hash = 0xcbf29ce484222325;
  for (const char character : host) {
    hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001b3;
  }
  return hash % count == index;
}

Shard ParseShard(const std::string& text) {
  if (text == "auto") {
    return FromEnvironment();
  }
  const std::size_t slash = text.find('/');
  const auto part = NumberOf(std::string_view(text).substr(0, slash));
  const auto count = slash == std::string::npos ? std::nullopt : NumberOf(std::string_view(text).substr(slash + 1));
  if (!part || !count || *part == 0) {
    Refuse("\"" + text + "\" is invalid; use K/N, with K from 1 to N, or auto");
  }
  return Checked(*part - 1, *count);
}

}  // namespace Kelvar::Tool
