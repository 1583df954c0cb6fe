#pragma once

#include <array>
#include <cstddef>

namespace Kelvar {

/// Moves a descriptor that was just opened, close-on-exec, away from 0, 1 and 2, which are free when the host program
/// has closed its standard streams: what the host writes to them must not go to a target. Gives its new number, also
/// close-on-exec. On failure, and for a negative one, -1; errno tells why, and the descriptor is closed.
int AboveStandardStreams(int descriptor) noexcept;

/// Occupies what is free of 0, 1 and 2, so that for the life of the object a foreign library opens nothing there.
class StandardStreamsTaken {
 public:
  StandardStreamsTaken() noexcept;
  ~StandardStreamsTaken();
  StandardStreamsTaken(const StandardStreamsTaken&) = delete;
  StandardStreamsTaken& operator=(const StandardStreamsTaken&) = delete;

  /// Whether one was free.
  bool Any() const noexcept { return count_ != 0; }

 private:
  std::array<int, 3> held_{};
  std::size_t count_ = 0;
};

}  // namespace Kelvar
