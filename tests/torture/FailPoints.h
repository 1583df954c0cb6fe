#pragma once

#include <cstddef>
#include <limits>

namespace Kelvar::Test {

/// Calls of one kind that a thread makes can be made to fail. Other threads are left alone.
enum class FailKind { Allocation, SocketCall };

struct FailPlan {
  FailKind kind = FailKind::Allocation;
  std::size_t first = std::numeric_limits<std::size_t>::max();  ///< number of the first call that fails, from 0
  bool forGood = false;                                         ///< all later ones too, not only this
};

/// Counts the calls of this thread, and lets them fail as planned, for the life of the object.
class FailPoints {
 public:
  explicit FailPoints(const FailPlan& plan);
  ~FailPoints();
  FailPoints(const FailPoints&) = delete;
  FailPoints& operator=(const FailPoints&) = delete;

  /// So far.
  std::size_t Calls() const;
  bool Struck() const;
};

/// Whether the call that is being made has to fail.
bool MustFail(FailKind kind) noexcept;

/// Blocks of memory that this thread has taken and not given back; 0 where they are not counted, which is under a
/// sanitizer: it looks for leaks itself.
long LiveBlocks() noexcept;
void CountBlocks(long more) noexcept;

/// Takes hold of the allocators that libraries bring with them; before anything else is called.
void HookAllocators();

}  // namespace Kelvar::Test
