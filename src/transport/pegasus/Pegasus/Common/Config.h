#pragma once

#include <cstdint>

namespace Pegasus {

using Boolean = bool;
using Uint8 = std::uint8_t;
using Uint16 = std::uint16_t;
using Uint32 = std::uint32_t;
using Uint64 = std::uint64_t;
using Sint8 = std::int8_t;
using Sint16 = std::int16_t;
using Sint32 = std::int32_t;
using Sint64 = std::int64_t;
using Real32 = float;
using Real64 = double;

}  // namespace Pegasus

/// What searches give when there is nothing to find.
#define PEG_NOT_FOUND Pegasus::Uint32(-1)
