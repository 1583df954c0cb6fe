#pragma once

#include <filesystem>
#include <string>

namespace Kelvar::Test {

/// An empty folder that goes with the object, and with it all that it holds.
class TemporaryFolder {
 public:
  /// Throws std::runtime_error when it cannot be made.
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  /// Writes a file that only its owner may read, and the folders above it; returns its path.
  std::string Write(const std::string& name, const std::string& content) const;

 private:
  std::filesystem::path path_;
};

/// What a file holds; nothing when it cannot be read.
std::string ContentOf(const std::filesystem::path& file);

}  // namespace Kelvar::Test
