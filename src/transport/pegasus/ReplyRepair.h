#pragma once

#include <string>
#include <string_view>

namespace Pegasus::Detail {

/// Makes XML again of what firmware lets slip into values: control characters, and bytes that are no UTF-8, become
/// U+FFFD. Replies in another encoding pass as they are.
class ReplyRepair {
 public:
  /// The next bytes, repaired; what is left of them until more arrive comes with the next call. Valid until then.
  std::string_view Take(std::string_view bytes);
  /// Everything that waits.
  std::string_view Finish();

 private:
  bool DecideEncoding(bool last);
  void Repair(std::string_view bytes, bool last);

  std::string waiting_;
  std::string repaired_;
  bool decided_ = false;
  bool isUtf8_ = false;
};

}  // namespace Pegasus::Detail
