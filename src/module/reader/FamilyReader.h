#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
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

  bool Wants(Model::Family family) const {
    return std::find(families.begin(), families.end(), family) != families.end();
  }
  bool IsOver() const {
    return (cancelled != nullptr && *cancelled) || (deadline && std::chrono::steady_clock::now() >= *deadline);
  }
};

}  // namespace Kelvar::Reader
