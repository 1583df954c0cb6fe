#include "module/reader/ipmi/ChainGuess.h"

#include <algorithm>

namespace Kelvar::Reader::Ipmi {

void ChainGuess::Note(u16 id, u16 next) {
  const auto step = static_cast<u16>(next - id);
  steady_ = step == step_ ? steady_ + 1 : 0;
  step_ = step;
  asked_ = steady_ > 0 && asked_ > 0 ? asked_ - 1 : 0;
}

std::vector<u16> ChainGuess::From(u16 id, std::size_t most) {
  constexpr u32 kLast = 0xFFFF;
  std::vector<u16> ids;
  if (asked_ > 0 || !IsSteady()) {
    return ids;
  }
  const std::size_t count = std::min(most, 4 * steady_);
  for (u32 next = id; next < kLast && ids.size() < count; next += step_) {
    ids.push_back(static_cast<u16>(next));
  }
  asked_ = ids.size();
  return ids;
}

}  // namespace Kelvar::Reader::Ipmi
