#include "tools/kelvar/serve/LastStates.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace Kelvar::Tool::Serve {

void LastStates::Put(const std::string& key, LastState state) {
  const std::lock_guard lock(mutex_);
  if (states_.size() >= kMost && states_.count(key) == 0) {
    states_.erase(std::min_element(states_.begin(), states_.end(), [](const auto& one, const auto& other) {
      return one.second.end < other.second.end;
    }));
  }
  states_.insert_or_assign(key, std::move(state));
}

std::vector<LastState> LastStates::All() const {
  std::vector<LastState> all;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [key, state] : states_) {
      all.push_back(state);
    }
  }
  std::sort(all.begin(), all.end(), [](const LastState& one, const LastState& other) {
    return std::tie(one.target, one.module) < std::tie(other.target, other.module);
  });
  return all;
}

LastState StateAfter(const Report& report, const std::string& module) {
  LastState state;
  state.target = report.target;
  state.module = module;
  state.end = std::chrono::steady_clock::now();
  state.seconds = report.seconds;
  state.code = report.code;
  state.reason = report.code == ExitCode::Complete ? std::string() : ReasonOf(report);
  if (report.inventory) {
    state.health = report.inventory->verdict.health;
  }
  return state;
}

}  // namespace Kelvar::Tool::Serve
