#pragma once

#include <functional>

namespace Kelvar::Test {

/// Runs `work` on a thread with a stack of 256 KiB, which is what the library promises to be content with.
void OnSmallStack(const std::function<void()>& work);

}  // namespace Kelvar::Test
