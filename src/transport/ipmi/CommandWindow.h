#pragma once

#include <string>

#include <kelvar/Types.h>

namespace Kelvar::Ipmi {

/// How many commands a target bears under way: 1, 2, 4 or 8. Grows while replies come in order, in time and without a
/// busy code, falls to 1 at the first that does not, and grows to half of what was too much at most from then on.
class CommandWindow {
 public:
  u32 Size() const noexcept { return size_; }
  /// Whether there is more to be had than one command after the other.
  bool IsOpen() const noexcept { return most_ > 1; }
  void NoteInOrder() noexcept;
  void Fall() noexcept;

  /// What the process has learned of a target, such as "host:623". Any thread.
  static CommandWindow Of(const std::string& target);
  static void Remember(const std::string& target, const CommandWindow& window);
  static void ForgetAll();

 private:
  u32 size_ = 1;
  u32 most_ = 8;
  u32 inOrder_ = 0;  ///< replies since the last change
};

}  // namespace Kelvar::Ipmi
