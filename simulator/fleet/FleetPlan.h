#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kelvar::Simulator {

/// The SPEC of a machine that refuses connections.
constexpr std::string_view kDead = "dead";

/// What each machine of a fleet does wrong: nothing when it is empty, else the SPEC of one of the `faults`, which are
/// written SHARE:SPEC. Shares are exact but for rounding and spread evenly; the same words always give the same
/// machines. A SPEC is
///
///     dead            connections are refused
///     silent          connections are accepted, and nothing is ever said
///     garbage         bytes of no known protocol
///     slow            each answer takes 3 seconds
///     NUMBER          each answer has this HTTP status, such as 401
///     PROTOCOL:FAULT  as --fault takes it
///
/// Over IPMI "dead" and faults of its own alone are known.
///
/// Throws std::runtime_error with a text for people.
std::vector<std::string> AssignFaults(std::size_t machines, const std::vector<std::string>& faults);

/// What the SPEC switches on in the service of "redfish", "cim" or "ipmi", in the words of FaultTable::Load.
std::vector<std::string> FaultsOfSpec(const std::string& spec, const std::string& protocol);

}  // namespace Kelvar::Simulator
