#pragma once

#include <string>

#include <kelvar/Types.h>

namespace Kelvar::Tool {

/// Shows the library's log on standard error for its life: a line a record, without control characters and cut to a few
/// hundred bytes, since a record can repeat a whole response. One object in the process.
class LogView {
 public:
  /// Levels up to `shownLevel` are shown; 0: none. From level 4 on with the place in the source.
  explicit LogView(u32 shownLevel);
  ~LogView();
  LogView(const LogView&) = delete;
  LogView& operator=(const LogView&) = delete;

  /// From here on what the calling thread logs is shown with this in front.
  static void NameThread(const std::string& name);
};

}  // namespace Kelvar::Tool
