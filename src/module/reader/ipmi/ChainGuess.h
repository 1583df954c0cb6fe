#pragma once

#include <vector>

#include <kelvar/Types.h>

namespace Kelvar::Reader::Ipmi {

/// Guesses which records follow in a chain whose ids have grown by equal steps so far.
class ChainGuess {
 public:
  /// What was read: a record and the one that it says is next.
  void Note(u16 id, u16 next);
  /// What is likely to follow when `id` cannot be read.
  u16 After(u16 id) const noexcept { return static_cast<u16>(id + (IsSteady() ? step_ : 1)); }
  /// `id` and those that are likely to follow, at most `most`, when it is worth asking for them at once; empty else.
  /// More with each that came as guessed.
  std::vector<u16> From(u16 id, std::size_t most);

 private:
  bool IsSteady() const noexcept { return steady_ >= 2 && step_ > 0 && step_ <= 0xFF; }

  u16 step_ = 0;
  std::size_t steady_ = 0;  ///< equal steps in a row
  std::size_t asked_ = 0;   ///< guessed ones that were not read yet
};

}  // namespace Kelvar::Reader::Ipmi
