#pragma once

#include <span>
#include <vector>

#include <kelvar/Types.h>

namespace Kelvar::Ipmi {

using Bytes = std::vector<u8>;
using ByteView = std::span<const u8>;

inline void Append(Bytes& to, ByteView bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

/// Low byte first, as everything in IPMI.
inline void AppendU16(Bytes& to, u16 value) {
  to.push_back(static_cast<u8>(value));
  to.push_back(static_cast<u8>(value >> 8));
}

inline void AppendU32(Bytes& to, u32 value) {
  AppendU16(to, static_cast<u16>(value));
  AppendU16(to, static_cast<u16>(value >> 16));
}

}  // namespace Kelvar::Ipmi
