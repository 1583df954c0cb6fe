#pragma once

#include <string>
#include <vector>

namespace Kelvar::Tool {

/// The addresses that a host's name or any spelling of an address stands for, sorted, in their usual spelling; IPv4
/// addresses in IPv6 become IPv4. Asks the system's resolver, which can block; the name itself where that finds none.
std::vector<std::string> AddressesOf(const std::string& host);

/// A host in one spelling, without asking anybody: an address in its usual one, a name in lower case and without a dot
/// at its end.
std::string UsualSpelling(const std::string& host);

bool IsLoopback(const std::string& usualSpelling);

}  // namespace Kelvar::Tool
