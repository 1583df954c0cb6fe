#pragma once

#include <rapidjson/document.h>

#include "simulator/ipmi/ByteText.h"

namespace Kelvar::Simulator {

/// One record of the sensor data repository:
///   {"fru": 3, "entity": 15, "instance": 1, "name": ...}   FRU device locator
///   {"sensor": 1, "sensorType": 1, "unit": 1, "entity": ..., "instance": ..., "name": ..., "upper": [nc, c, nr]}
///                                                           full sensor record of a threshold sensor
///   {"record": "full" | "compact" | "event", ...}          any sensor, see SensorRecord.h
///   {"type": 18, "body": bytes, "name": ...}                any other; the name is optional
/// Numbers are decimal. `id` counts from 1.
Bytes SdrRecord(const rapidjson::Value& record, unsigned id);

}  // namespace Kelvar::Simulator
