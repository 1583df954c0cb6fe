#pragma once

#include <chrono>
#include <deque>
#include <string>

#include "simulator/http/ResponseWriter.h"

namespace Kelvar::Simulator {

/// An answer as it is to go out: pieces of bytes, each after a wait.
class RecordedAnswer : public ByteSink {
 public:
  struct Piece {
    std::chrono::milliseconds wait{0};
    std::string bytes;
  };

  bool Write(std::string_view bytes) override {
    constexpr std::size_t kMost = 67'108'864;
    size_ += bytes.size();
    if (size_ > kMost) {
      return false;
    }
    if (pieces_.empty()) {
      pieces_.emplace_back();
    }
    pieces_.back().bytes += bytes;
    return true;
  }

  bool Wait(std::chrono::milliseconds duration) override {
    if (pieces_.empty() || !pieces_.back().bytes.empty()) {
      pieces_.emplace_back();
    }
    pieces_.back().wait += duration;
    return true;
  }

  bool Empty() const { return pieces_.empty(); }
  const Piece& Front() const { return pieces_.front(); }
  void Pop() { pieces_.pop_front(); }

 private:
  std::deque<Piece> pieces_;
  std::size_t size_ = 0;
};

}  // namespace Kelvar::Simulator
