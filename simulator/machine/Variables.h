#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace Kelvar::Simulator {

/// The "facts" of a machine.json, by path: "serialNumber", "firmware.UEFI.build". They are variables of the services'
/// data, which name them as ${path}, so that each is written once and all protocols report the same.
class Variables {
 public:
  Variables() = default;
  explicit Variables(std::map<std::string, std::string, std::less<>> byPath) : byPath_(std::move(byPath)) {}

  /// Throws std::runtime_error with a text for people.
  static Variables Load(const std::filesystem::path& machineJson);

  /// Sets the variable of a path.
  void Set(const std::string& path, std::string text) { byPath_[path] = std::move(text); }

  /// How a value is written in a text of some kind.
  using Escape = std::string (*)(std::string_view value);

  /// The text with every ${path} replaced. Throws std::runtime_error for an unknown path.
  std::string Expand(std::string_view text, Escape escape = AsItIs) const;

 private:
  static std::string AsItIs(std::string_view value) { return std::string(value); }

  std::map<std::string, std::string, std::less<>> byPath_;
};

}  // namespace Kelvar::Simulator
