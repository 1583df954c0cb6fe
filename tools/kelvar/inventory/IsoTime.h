#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Kelvar::Tool {

/// Seconds since 1970 of an ISO 8601 time with a zone ("2026-03-20T08:15:00+01:00"); none for anything else.
std::optional<std::int64_t> SecondsOfIsoTime(const std::string& iso);

}  // namespace Kelvar::Tool
