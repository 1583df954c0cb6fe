#pragma once

#include <rapidjson/document.h>

#include "simulator/ipmi/ByteText.h"

namespace Kelvar::Simulator {

/// The contents of a FRU device: common header, the areas "chassis", "board" and "product" that it has one behind the
/// other, zeros up to "size". Then "overlay" puts bytes anywhere.
///
/// An area is {"lead": bytes, "fields": [...]}: what stands between its length byte and its fields, and the fields.
/// A field is a text (8-bit ASCII), or {"text": ..., "type": "ascii" | "6bit" | "bcd", "width": ...} or {"bytes": ...}
/// (binary); a field narrower than its width is filled with NUL.
Bytes FruImage(const rapidjson::Value& device);

}  // namespace Kelvar::Simulator
