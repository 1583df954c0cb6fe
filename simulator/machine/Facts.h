#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace Kelvar::Simulator {

/// The facts of a machine.json, by path: "serialNumber", "firmware.UEFI.build". Data of the services names them as
/// ${path}, so that a fact is written once and all protocols report the same.
class Facts {
 public:
  Facts() = default;
  explicit Facts(std::map<std::string, std::string, std::less<>> byPath) : byPath_(std::move(byPath)) {}

  /// Throws std::runtime_error with a text for people.
  static Facts Load(const std::filesystem::path& machineJson);

  /// Puts a fact in, in place of one of the same path.
  void Set(const std::string& path, std::string text) { byPath_[path] = std::move(text); }

  /// How a fact is written in a text of some kind.
  using Escape = std::string (*)(std::string_view fact);

  /// The text with every ${path} replaced. Throws std::runtime_error for a path without a fact.
  std::string Expand(std::string_view text, Escape escape = AsItIs) const;

 private:
  static std::string AsItIs(std::string_view fact) { return std::string(fact); }

  std::map<std::string, std::string, std::less<>> byPath_;
};

}  // namespace Kelvar::Simulator
