#pragma once

#include <span>
#include <string>
#include <vector>

#include "module/reader/ipmi/ReadingContext.h"

namespace Kelvar::Reader::Ipmi {

/// The numbers of the suites in records of Get Channel Cipher Suites, in their order and each once: "3"; a
/// manufacturer's own are "128 of manufacturer 65100".
std::vector<std::string> ParseCipherSuites(std::span<const u8> records);

/// The suites that a channel offers; none when the target does not tell.
std::vector<std::string> ReadCipherSuites(ReadingContext& context, u8 channel, FamilyProgress& progress);

}  // namespace Kelvar::Reader::Ipmi
