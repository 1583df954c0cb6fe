#include <kelvar/Log.h>

#include <atomic>
#include <locale>
#include <mutex>
#include <utility>

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include "common/text/Escape.h"

namespace Kelvar {

namespace {

std::atomic<u32> minLogLevel{1};

spdlog::level::level_enum ToSpdlog(u32 level) {
  switch (level) {
    case 1:
      return spdlog::level::err;
    case 2:
      return spdlog::level::warn;
    case 3:
      return spdlog::level::info;
    default:
      return spdlog::level::trace;
  }
}

/// Where records go: the host program's sink, or standard error.
class Output {
 public:
  void Write(u32 level, const char* file, int line, const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (sink_) {
      sink_(level, file, line, text);
      return;
    }
    const spdlog::source_loc place{file, line, ""};
    const std::string printable = Text::EscapeControl(text, "\n\t");
    standardError_.log(spdlog::details::log_msg(place, "kelvar", ToSpdlog(level), printable));
  }

  void SetSink(Log::Sink sink) {
    const std::lock_guard<std::mutex> lock(mutex_);
    sink_.swap(sink);
  }

 private:
  std::mutex mutex_;
  Log::Sink sink_;
  spdlog::sinks::stderr_sink_mt standardError_;
};

/// Never destroyed, so that objects that go at exit can still log.
Output& TheOutput() {
  static auto* output = new Output();
  return *output;
}

}  // namespace

Log::Log(u32 level, const char* file, int line) : level_(level), file_(file), line_(line) {
  stream_.imbue(std::locale::classic());  // numbers do not change with the locale of the host program
}

Log::~Log() {
  if (level_ > GetMinLogLevel()) {
    return;
  }
  try {
    TheOutput().Write(level_, file_, line_, stream_.str());
  } catch (...) {  // a record that cannot be written is no reason to fail the operation that wrote it
  }
}

u32 Log::GetMinLogLevel() noexcept {
  return minLogLevel.load(std::memory_order_relaxed);
}

void Log::SetMinLogLevel(u32 level) noexcept {
  minLogLevel.store(level, std::memory_order_relaxed);
}

void Log::SetSink(Sink sink) {
  TheOutput().SetSink(std::move(sink));
}

}  // namespace Kelvar
