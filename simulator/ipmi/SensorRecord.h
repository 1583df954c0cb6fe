#pragma once

#include <rapidjson/document.h>

#include "simulator/ipmi/ByteText.h"

namespace Kelvar::Simulator {

/// Its address on the IPMB.
constexpr u8 kServiceProcessor = 0x20;

/// The type and the body of a sensor record, without its name, of {"record": "full" | "compact" | "event", ...}:
///   "sensor", "entity", "instance", "sensorType", "eventType" (1 when absent), "owner" (32), "place" (channel and LUN,
///   0) full: "units" (three bytes), "factors" (six bytes from M to the exponents), "linearisation", "range" [min,
///   max],
///         "thresholds": an object of raw values, "lnr", "lc", "lnc", "unc", "uc", "unr"; those named are readable
///   compact, event: "share": {"count", "offset", "letters", "entities"}
struct SensorBytes {
  u8 type = 0;
  Bytes body;
};
SensorBytes SensorRecord(const rapidjson::Value& record);

/// Data of Get Sensor Thresholds: the readable ones and their values; empty for a record without any.
Bytes LiveThresholds(const rapidjson::Value& record);

/// How many sensors a record stands for.
unsigned SharedBy(const rapidjson::Value& record);

}  // namespace Kelvar::Simulator
