#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tools/kelvar/Report.h"

namespace Kelvar::Tool::Serve {

/// How the last reading of a target went.
struct LastState {
  std::string target;  ///< its address, as it was asked for
  std::string module;
  std::chrono::steady_clock::time_point end;
  double seconds = 0;
  ExitCode code = ExitCode::Complete;
  Model::Health health = Model::Health::Unknown;
  std::string reason;  ///< why it is not complete; holds what a target sent
};

/// The last state of each target and module, of a bounded number: then the oldest goes. Any thread.
class LastStates {
 public:
  static constexpr std::size_t kMost = 5000;

  void Put(const std::string& key, LastState state);

  /// By target and module.
  std::vector<LastState> All() const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, LastState> states_;
};

/// The state after `report`, which has just come.
LastState StateAfter(const Report& report, const std::string& module);

}  // namespace Kelvar::Tool::Serve
