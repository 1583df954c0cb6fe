#pragma once

#include <string>
#include <string_view>

namespace Pegasus::Detail {

/// How a control character, raw or as a reference, passes the XML parser: as one of the characters U+10FF01 to U+10FF1F
/// of a private plane, which begin with these bytes.
constexpr std::string_view kControlMark = "\xF4\x8F\xBC";

/// Makes control characters of them again, in a whole text, from a position on.
void RestoreControls(std::string& text, std::size_t from = 0);

/// Makes XML again of what firmware lets slip into values: control characters pass as kControlMark says; a NUL, bytes
/// that are not UTF-8 and references to no character become U+FFFD. Replies in another encoding pass as they are.
class Utf8Sanitizer {
 public:
  /// The next bytes, repaired; what is left of them until more arrive comes with the next call. Valid until then.
  std::string_view Take(std::string_view bytes);
  /// Everything that waits.
  std::string_view Finish();

 private:
  bool DecideEncoding(bool last);
  void Repair(std::string_view bytes, bool last);
  /// How many bytes at the beginning pass as they are, and neither start nor end a section.
  std::size_t PlainBytes(std::string_view bytes) const noexcept;
  // Each takes what the bytes begin with and returns its size; 0 when more bytes must come first.
  std::size_t RepairOne(std::string_view bytes, bool last);
  std::size_t TakeMark(std::string_view bytes, std::string_view mark, bool opensCdata, bool last);
  std::size_t TakeReference(std::string_view bytes, bool last);
  std::size_t TakeOddByte(std::string_view bytes, bool last);
  void AppendOdd(unsigned long number);

  std::string waiting_;
  std::string repaired_;
  bool decided_ = false;
  bool isUtf8_ = false;
  bool inCdata_ = false;
};

}  // namespace Pegasus::Detail
