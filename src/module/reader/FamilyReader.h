#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <kelvar/ConnectionInfo.h>
#include <kelvar/Inventory.h>
#include <kelvar/InventoryReader.h>

namespace Kelvar::Reader {

/// A Redfish session that outlives a reading. The owner wipes the token.
struct KeptSession {
  std::string token;  ///< empty: there is none
  std::string path;   ///< of the session's resource
};

/// What the reader of a protocol gets: one call of InventoryReader::Read. A reader fills the records, and sets the
/// result of every family that is asked for; it leaves the others alone. It may throw: the records stay, families
/// without a result become failed. Diagnostics are recorded as everywhere, by DiagnosticsRecorder.
struct ReadRequest {
  const KelvarConnection::ConnectionInfo& info;
  const InventoryReaderOptions& options;
  std::vector<Model::Family> families;  ///< in the order of Model::kAllFamilies, each once
  std::optional<std::chrono::steady_clock::time_point> deadline;
  const std::atomic<bool>* cancelled = nullptr;
  KeptSession* kept = nullptr;  ///< null: the session is closed at the end of the reading
  /// For which a kept connection may be silent at least, before the request goes over another one.
  std::chrono::milliseconds leastQuiet{10'000};

  bool Wants(Model::Family family) const {
    return std::find(families.begin(), families.end(), family) != families.end();
  }
  /// Whole seconds until the reading has to end, at least 1; 0 for no bound.
  u32 SecondsLeft() const {
    if (!deadline) {
      return 0;
    }
    const auto left = std::chrono::ceil<std::chrono::seconds>(*deadline - std::chrono::steady_clock::now());
    return static_cast<u32>(std::clamp<std::int64_t>(left.count(), 1, 0xFFFFFFFF));
  }
  bool IsOver() const {
    return (cancelled != nullptr && *cancelled) || (deadline && std::chrono::steady_clock::now() >= *deadline);
  }
};

}  // namespace Kelvar::Reader
