#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace Kelvar::Text {

/// A password or a key: kept in one place that never grows, wiped when it goes, moved but not copied.
class Secret {
 public:
  Secret() noexcept = default;
  explicit Secret(std::string_view text);
  Secret(Secret&& other) noexcept;
  Secret& operator=(Secret&& other) noexcept;
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;
  ~Secret() { Clear(); }

  std::string_view View() const noexcept { return {bytes_.get(), size_}; }
  bool Empty() const noexcept { return size_ == 0; }
  void Clear() noexcept;

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
};

/// Wipes what a text holds, spare room included, and empties it.
void WipeText(std::string& text) noexcept;

}  // namespace Kelvar::Text
