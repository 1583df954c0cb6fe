#pragma once

#include <functional>
#include <sstream>
#include <string>

#include <kelvar/Export.h>
#include <kelvar/Types.h>

namespace Kelvar {

/// One log record: built through Stream(), written as a whole by the destructor.
///
/// Levels: 1 failures, 2 exceptions and gaps that an operation survives, 3 facts found, 4 trace; a higher value means
/// more output and 0 switches logging off. The library builds a record only when GetMinLogLevel() is at least its
/// level. Without a sink, records of level 1 go to standard error. The static operations may be called from any
/// thread at any time; one Log object belongs to one thread. Nothing here throws, except an allocation that fails
/// in the caller's own use of Stream().
class KELVAR_EXPORT Log {
 public:
  /// Receives each record: its level, the source file and line that wrote it, and the text, which can hold line
  /// feeds. Called on the thread that logs, by one thread at a time; what it throws is dropped. It must not log or
  /// replace the sink itself.
  using Sink = std::function<void(u32 level, const char* file, int line, const std::string& text)>;

  /// `file` must outlive the object, as a literal does.
  Log(u32 level, const char* file, int line);
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  /// Takes the text of the record.
  std::ostringstream& Stream() { return stream_; }

  /// The highest level that is written; 1 at start.
  static u32 GetMinLogLevel() noexcept;
  /// Holds from the next record on.
  static void SetMinLogLevel(u32 level) noexcept;

  /// Sends all further records to `sink`, or, when it is empty, to standard error again. On return no other thread
  /// is inside the previous sink any more.
  static void SetSink(Sink sink);

 private:
  u32 level_;
  const char* file_;
  int line_;
  std::ostringstream stream_;
};

}  // namespace Kelvar
