#include "transport/ipmi/CommandWindow.h"

#include <algorithm>
#include <map>
#include <mutex>

namespace Kelvar::Ipmi {
namespace {

constexpr std::size_t kMostTargets = 1024;

std::mutex targetsMutex;
std::map<std::string, CommandWindow>& Targets() {
  static auto* const targets =
      new std::map<std::string, CommandWindow>();  // outlives threads at the end of the process
  return *targets;
}

}  // namespace

void CommandWindow::NoteInOrder() noexcept {
  if (++inOrder_ >= 2 * size_ && size_ < most_) {
    size_ *= 2;
    inOrder_ = 0;
  }
}

void CommandWindow::Fall() noexcept {
  most_ = size_ > 1 ? size_ / 2 : most_;
  size_ = 1;
  inOrder_ = 0;
}

CommandWindow CommandWindow::Of(const std::string& target) {
  const std::lock_guard<std::mutex> lock(targetsMutex);
  const auto known = Targets().find(target);
  return known != Targets().end() ? known->second : CommandWindow();
}

void CommandWindow::Remember(const std::string& target, const CommandWindow& window) {
  const std::lock_guard<std::mutex> lock(targetsMutex);
  auto& targets = Targets();
  if (targets.size() >= kMostTargets && targets.count(target) == 0) {
    targets.erase(targets.begin());
  }
  targets[target] = window;
}

void CommandWindow::ForgetAll() {
  const std::lock_guard<std::mutex> lock(targetsMutex);
  Targets().clear();
}

}  // namespace Kelvar::Ipmi
