#pragma once

#include <string>
#include <vector>

namespace Kelvar::Tool {

/// The addresses that a host's name or any spelling of an address stands for, sorted, in their usual spelling; IPv4
/// addresses in IPv6 become IPv4. Asks the system's resolver, which can block; the name itself, in lower case and
/// without a dot at its end, where that finds none.
std::vector<std::string> AddressesOf(const std::string& host);

/// `address` is one of AddressesOf().
bool IsLoopback(const std::string& address);

}  // namespace Kelvar::Tool
