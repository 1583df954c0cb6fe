#include <Pegasus/Common/String.h>

#include <algorithm>
#include <cstring>
#include <ostream>

namespace Pegasus {

namespace {

Detail::SharedText Copy(std::string_view text) {
  if (text.empty()) {
    return {};
  }
  auto owner = std::make_shared<const std::string>(text);
  const std::string_view view = *owner;
  return {std::move(owner), view};
}

struct WipedText {
  explicit WipedText(std::string_view secret) : text(secret) {}
  WipedText(const WipedText&) = delete;
  WipedText& operator=(const WipedText&) = delete;
  ~WipedText() { explicit_bzero(text.data(), text.size()); }

  std::string text;
};

char Lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

constinit const String String::EMPTY;

String::String(const char* text) : shared_(Copy(text)) {}

String::String(const char* text, Uint32 length) : shared_(Copy({text, length})) {}

String::String(std::string_view text) : shared_(Copy(text)) {}

String String::Secret(std::string_view text) {
  auto owner = std::make_shared<WipedText>(text);
  const std::string_view view = owner->text;
  return String(Detail::SharedText{std::move(owner), view});
}

CString String::getCString() const {
  return CString(*this);
}

Uint32 String::find(const String& part) const noexcept {
  const std::size_t position = View().find(part.View());
  return position == std::string_view::npos ? PEG_NOT_FOUND : static_cast<Uint32>(position);
}

Boolean String::equalNoCase(const String& a, const String& b) noexcept {
  return std::equal(a.View().begin(), a.View().end(), b.View().begin(), b.View().end(),
                    [](char x, char y) { return x == y || Lower(x) == Lower(y); });
}

std::ostream& operator<<(std::ostream& stream, const String& text) {
  return stream << text.View();
}

}  // namespace Pegasus
