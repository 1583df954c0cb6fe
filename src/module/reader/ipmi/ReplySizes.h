#pragma once

#include <cstddef>

#include "transport/ipmi/IpmiClientInterface.h"

namespace Kelvar::Reader::Ipmi {

/// Bytes that a successful reply has at least, up to the last one without which it says nothing; 0 for commands that
/// are not known. A shorter one was cut on its way, or is not that reply.
std::size_t LeastReplySize(const IPMICOMMAND& command) noexcept;

}  // namespace Kelvar::Reader::Ipmi
