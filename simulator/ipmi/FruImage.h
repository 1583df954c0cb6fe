#pragma once

#include <rapidjson/document.h>

#include "simulator/ipmi/ByteText.h"

namespace Kelvar::Simulator {

/// The contents of a FRU device: common header, the areas "chassis", "board" and "product" that it has one after the
/// other, zeros up to "size". Then "overlay" puts bytes anywhere.
///
/// After the areas come "records", multirecords of {"type": ..., "bytes": ...}.
///
/// An area is {"lead": bytes, "fields": [...]}: what is between its length byte and its fields, and the fields.
/// A field is a text (8-bit ASCII), or {"text": ..., "type": "ascii" | "6bit" | "bcd", "width": ...} or {"bytes": ...}
/// (binary) or {"wide": bytes} (UTF-16, low byte first, for areas in another language); a field narrower than its width
/// is filled with NUL.
Bytes FruImage(const rapidjson::Value& device);

}  // namespace Kelvar::Simulator
