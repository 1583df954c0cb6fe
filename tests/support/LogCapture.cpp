#include "support/LogCapture.h"

#include <algorithm>

namespace Kelvar::Test {

LogCapture::LogCapture(u32 level) : formerLevel_(Log::GetMinLogLevel()) {
  Log::SetSink([this](u32 recordLevel, const char* file, int /*line*/, const std::string& text) {
    const std::lock_guard lock(mutex_);
    records_.push_back({recordLevel, file, text});
  });
  Log::SetMinLogLevel(level);
}

LogCapture::~LogCapture() {
  Log::SetMinLogLevel(formerLevel_);
  Log::SetSink(nullptr);
}

std::vector<LogRecord> LogCapture::Records() const {
  const std::lock_guard lock(mutex_);
  return records_;
}

std::vector<std::string> LogCapture::Texts(u32 level) const {
  std::vector<std::string> texts;
  for (const LogRecord& record : Records()) {
    if (record.level == level) {
      texts.push_back(record.text);
    }
  }
  return texts;
}

bool LogCapture::Has(u32 level, const std::string& text) const {
  const auto texts = Texts(level);
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

bool LogCapture::Contains(const std::string& text) const {
  const auto records = Records();
  return std::any_of(records.begin(), records.end(),
                     [&](const LogRecord& record) { return record.text.find(text) != std::string::npos; });
}

}  // namespace Kelvar::Test
