#include "tools/kelvar/Output.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "common/text/Escape.h"
#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool {

Output::Output() {
  const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  file_ = own < 0 ? nullptr : fdopen(own, "w");
  if (file_ == nullptr || nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0) {
    throw ToolError(ExitCode::Internal, std::string("cannot open standard output: ") + std::strerror(errno));
  }
  close(nowhere);
}

Output::~Output() {
  if (file_ != nullptr) {
    (void)std::fclose(file_);
  }
}

void Output::Write(std::string_view text) {
  (void)std::fwrite(text.data(), 1, text.size(), file_);  // Finish asks the stream
}

void Output::Finish() {
  if (std::fflush(file_) != 0 || std::ferror(file_) != 0) {
    throw ToolError(ExitCode::Internal, std::string("cannot write to standard output: ") + std::strerror(errno));
  }
}

bool Output::LostReader(std::chrono::milliseconds timeLimit) const {
  pollfd own{fileno(file_), 0, 0};  // errors are told unasked
  return poll(&own, 1, static_cast<int>(timeLimit.count())) > 0;
}

void PrintError(std::string_view text) {
  WriteToStandardError("kelvar: " + Text::EscapeControl(text) + '\n');
}

void WriteToStandardError(std::string_view text) {
  (void)std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace Kelvar::Tool
