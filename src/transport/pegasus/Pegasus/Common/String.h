#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include <Pegasus/Common/Config.h>

namespace Pegasus {

namespace Detail {

/// A text inside memory that `owner` keeps alive, followed by a NUL.
struct SharedText {
  std::shared_ptr<const void> owner;
  std::string_view text = "";
};

}  // namespace Detail

class CString;

/// An unchanging UTF-8 text. Copies share it.
class String {
 public:
  static const String EMPTY;

  constexpr String() noexcept = default;
  String(const char* text);
  String(const char* text, Uint32 length);
  explicit String(std::string_view text);
  explicit String(Detail::SharedText text) noexcept : shared_(std::move(text)) {}

  /// A text that is wiped when its last copy goes.
  static String Secret(std::string_view text);

  /// Bytes, not characters.
  Uint32 size() const noexcept { return static_cast<Uint32>(shared_.text.size()); }
  CString getCString() const;
  /// Position of the first occurrence, or PEG_NOT_FOUND.
  Uint32 find(const String& part) const noexcept;

  static Boolean equal(const String& a, const String& b) noexcept { return a.View() == b.View(); }
  /// ASCII letters compare without case.
  static Boolean equalNoCase(const String& a, const String& b) noexcept;

  std::string_view View() const noexcept { return shared_.text; }
  const Detail::SharedText& Shared() const noexcept { return shared_; }

 private:
  Detail::SharedText shared_;
};

inline Boolean operator==(const String& a, const String& b) noexcept {
  return a.View() == b.View();
}
inline Boolean operator==(const String& a, const char* b) noexcept {
  return a.View() == b;
}
inline Boolean operator!=(const String& a, const String& b) noexcept {
  return !(a == b);
}
inline Boolean operator!=(const String& a, const char* b) noexcept {
  return !(a == b);
}
std::ostream& operator<<(std::ostream& stream, const String& text);

/// The bytes of a String as a C string.
class CString {
 public:
  CString() noexcept = default;
  explicit CString(String text) noexcept : text_(std::move(text)) {}

  operator const char*() const noexcept { return text_.View().data(); }

 private:
  String text_;
};

}  // namespace Pegasus
