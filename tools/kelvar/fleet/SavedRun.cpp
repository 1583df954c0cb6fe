#include "tools/kelvar/fleet/SavedRun.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/fleet/StoredReport.h"

namespace Kelvar::Tool {

namespace {

constexpr std::chrono::seconds kSyncInterval{1};

}  // namespace

SavedRun::SavedRun(std::string file, bool append) : file_(std::move(file)) {
  const bool cut = append && LacksLineEnd(file_);
  descriptor_ = open(file_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC), S_IRUSR | S_IWUSR);
  if (descriptor_ < 0) {
    throw ToolError(ExitCode::Usage, file_ + ": " + std::strerror(errno));
  }
  if (cut) {
    WriteAll("\n");
  }
}

SavedRun::~SavedRun() {
  if (descriptor_ >= 0) {
    (void)close(descriptor_);
  }
}

void SavedRun::Write(std::string_view line) {
  WriteAll(line);
  ++lines_;
  if (std::chrono::steady_clock::now() - synced_ >= kSyncInterval) {
    Sync();
  }
}

void SavedRun::Close() {
  Sync();
  if (close(std::exchange(descriptor_, -1)) != 0) {
    Fail();
  }
}

void SavedRun::WriteAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor_, text.data(), text.size());
    if (written < 0 && errno != EINTR) {
      Fail();
    }
    text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
  }
}

void SavedRun::Sync() {
  const bool cannot = fdatasync(descriptor_) != 0;
  if (cannot && errno != EINVAL && errno != EROFS && errno != ENOTSUP) {  // as of a pipe or a device
    Fail();
  }
  synced_ = std::chrono::steady_clock::now();
}

void SavedRun::Fail() const {
  const std::string why = std::strerror(errno);
  throw ToolError(ExitCode::Internal,
                  fmt::format("--save: {}; {} written to {}, and --resume goes on from there", why,
                              lines_ == 1 ? "1 report is" : fmt::format("{} reports are", lines_), file_));
}

}  // namespace Kelvar::Tool
