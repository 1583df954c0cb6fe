#include "tools/kelvar/LogView.h"

#include <string_view>

#include <fmt/format.h>

#include <kelvar/Log.h>

#include "common/text/Escape.h"
#include "tools/kelvar/Output.h"

namespace Kelvar::Tool {

namespace {

constexpr u32 kTraceLevel = 4;
constexpr std::size_t kLongestLine = 300;
constexpr std::size_t kLongestTraceLine = 1000;

/// The library runs on its caller's thread.
thread_local std::string threadName;

std::string CutTo(std::size_t longest, std::string_view text) {
  if (text.size() <= longest) {
    return Text::EscapeControl(text);
  }
  return fmt::format("{}... ({} bytes)", Text::EscapeControl(text.substr(0, longest)), text.size());
}

}  // namespace

LogView::LogView(u32 shownLevel) {
  Log::SetMinLogLevel(shownLevel);
  Log::SetSink([shownLevel](u32 level, const char* file, int line, const std::string& text) {
    if (level > shownLevel) {
      return;
    }
    const bool trace = shownLevel >= kTraceLevel;
    const std::string place = trace ? fmt::format("{}:{}: ", file, line) : std::string();
    WriteToStandardError("kelvar: " + threadName + place + CutTo(trace ? kLongestTraceLine : kLongestLine, text) +
                         '\n');
  });
}

LogView::~LogView() {
  Log::SetSink(nullptr);
}

void LogView::NameThread(const std::string& name) {
  threadName = name.empty() ? "" : Text::EscapeControl(name) + ": ";
}

}  // namespace Kelvar::Tool
