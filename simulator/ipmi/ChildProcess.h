#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Kelvar::Simulator {

/// A program that runs as long as this object, and never longer than the thread that started it.
class ChildProcess {
 public:
  ChildProcess() = default;
  ~ChildProcess() { Stop(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Starts `command` with no input and its output in the file `output`. `inherited` stays open in it under the same
  /// number. Throws std::runtime_error.
  void Start(const std::vector<std::string>& command, const std::filesystem::path& output, int inherited);

  /// Ends it; harmless when it is not running.
  void Stop() noexcept;

 private:
  pid_t process_ = -1;
};

}  // namespace Kelvar::Simulator
