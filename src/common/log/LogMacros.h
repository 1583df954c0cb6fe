#pragma once

#include <kelvar/Log.h>

namespace Kelvar::LogDetail {

/// Gives the streamed record the type void, so that both arms of KELVAR_LOG agree.
struct Discard {
  void operator&(const std::ostream&) const noexcept {}
};

}  // namespace Kelvar::LogDetail

// NOLINTBEGIN(bugprone-macro-parentheses): what follows the macro continues its expression.
/// One log record: KELVAR_LOG(1) << "text" << value. Nothing to its right is evaluated unless the level is wanted.
#define KELVAR_LOG(level)                     \
  (::Kelvar::Log::GetMinLogLevel() < (level)) \
      ? (void)0                               \
      : ::Kelvar::LogDetail::Discard() & ::Kelvar::Log((level), __FILE__, __LINE__).Stream()
// NOLINTEND(bugprone-macro-parentheses)
