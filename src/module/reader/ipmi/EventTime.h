#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include <kelvar/Types.h>

namespace Kelvar::Reader::Ipmi {

/// ISO 8601 of an IPMI time stamp, which is the target's local time when its offset from UTC is known:
/// "2026-03-20T08:15:00+01:00"; with "Z" else. Empty for times that are none: all ones, and those up to 20000000h,
/// which count from the start of the target's clock.
std::string TimeText(u32 timestamp, std::optional<int> utcOffsetMinutes);

/// Minutes of Get SEL Time UTC Offset; nothing for "unspecified" and what is out of range.
std::optional<int> UtcOffsetOf(u16 bytes) noexcept;

/// "2026-03-20T08:15:00Z"
std::string UtcText(std::time_t seconds);

/// Seconds since 1970 of an ISO 8601 date or time: "2026-03-20", "2026-03-20T08:15:00Z", "...+01:00"; UTC without a
/// zone. Nothing for another text.
std::optional<std::int64_t> SecondsOf(const std::string& text);

/// Seconds since 1970 in UTC; nothing for times that are none.
std::optional<std::int64_t> UtcSecondsOf(u32 timestamp, std::optional<int> utcOffsetMinutes) noexcept;

}  // namespace Kelvar::Reader::Ipmi
