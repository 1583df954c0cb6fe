#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace Kelvar::Simulator {

/// The facts of a machine.json, by path: "serialNumber", "firmware.UEFI.build". Data of the services names them as
/// ${path}, so that a fact stands in one place and all protocols tell the same.
class Facts {
 public:
  Facts() = default;
  explicit Facts(std::map<std::string, std::string, std::less<>> byPath) : byPath_(std::move(byPath)) {}

  /// Throws std::runtime_error with a text for people.
  static Facts Load(const std::filesystem::path& machineJson);

  /// The same facts, but ${path} stays as it is for these paths.
  Facts Keeping(const std::set<std::string>& paths) const;

  /// A fact by its path, or nothing.
  std::optional<std::string> Find(std::string_view path) const;

  /// The text with every ${path} replaced. Throws std::runtime_error for a path without a fact.
  std::string Expand(std::string_view text) const;

 private:
  std::map<std::string, std::string, std::less<>> byPath_;
};

}  // namespace Kelvar::Simulator
