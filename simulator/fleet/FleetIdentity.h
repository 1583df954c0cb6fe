#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "simulator/machine/IdentityIndex.h"

namespace Kelvar::Simulator {

// What a fleet shares holds marks where each of its machines says something of its own.

/// The text with a mark for each serial number, asset tag, UUID, MAC address and host name in it.
std::string Mark(std::string_view text, const IdentityIndex& words);

/// The same within the strings of a JSON text, paths left out.
std::string MarkJson(std::string_view json, const IdentityIndex& words);

/// A word as the machine with this number has it: of the same kind, and no other machine's.
std::string Vary(Identity kind, std::string_view word, std::size_t machine);

/// The text with what one machine says in place of all marks.
std::string PutIdentity(std::string_view marked, std::size_t machine);

}  // namespace Kelvar::Simulator
