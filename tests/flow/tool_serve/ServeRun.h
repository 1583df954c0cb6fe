#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

#include "support/Command.h"
#include "support/TemporaryFolder.h"

namespace Kelvar::Test {

/// "kelvar serve" on a free port of 127.0.0.1, for the life of the object; it ends by itself after a minute.
class ServeRun {
 public:
  /// Starts it with a configuration file of this content and waits until it listens. Throws std::runtime_error.
  explicit ServeRun(const std::string& config);
  ~ServeRun();
  ServeRun(const ServeRun&) = delete;
  ServeRun& operator=(const ServeRun&) = delete;

  std::string Url(const std::string& path) const { return url_ + path; }
  /// Head and body of a page, as curl prints them; `options` are curl's.
  std::string Get(const std::string& path, const std::vector<std::string>& options = {}) const;
  /// Value of a series of the exporter's own metrics; empty when it has none.
  std::string OwnMetric(const std::string& series) const;
  /// The most memory that it ever had.
  std::size_t PeakMiB() const;
  /// Replaces its configuration file, which it does not read before it is told to.
  void Reconfigure(const std::string& config) const { folder_.Write("config.toml", config); }
  /// Sends a signal to it.
  void Signal(int number) const;
  /// Writes a file next to its configuration; returns its path.
  std::string Write(const std::string& name, const std::string& content) const { return folder_.Write(name, content); }
  /// Ends it by SIGTERM and gives its exit code; 128 and the signal when it was one that ended it.
  int Stop();

 private:
  const TemporaryFolder folder_;
  std::string url_;
  pid_t process_ = -1;
};

/// A percent-encoded query of /probe.
std::string ProbePath(const std::string& target, const std::string& module = "");

}  // namespace Kelvar::Test
