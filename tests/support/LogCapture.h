#pragma once

#include <mutex>
#include <string>
#include <vector>

#include <kelvar/Log.h>

namespace Kelvar::Test {

struct LogRecord {
  u32 level;
  std::string file;
  std::string text;
};

/// Collects the log for the life of the object; puts the level back and the log to standard error at its end.
class LogCapture {
 public:
  explicit LogCapture(u32 level = 4);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<LogRecord> Records() const;
  /// Texts of one level.
  std::vector<std::string> Texts(u32 level) const;
  /// Whether a record of the level has exactly this text.
  bool Has(u32 level, const std::string& text) const;
  /// Whether any record of any level holds the text.
  bool Contains(const std::string& text) const;

 private:
  const u32 formerLevel_;
  mutable std::mutex mutex_;
  std::vector<LogRecord> records_;
};

}  // namespace Kelvar::Test
