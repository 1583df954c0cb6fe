#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Kelvar::Text {

/// Copies `text` into a character array of a record: cut to width - 1, always terminated, zero after the text.
template <std::size_t N>
void CopyFixed(char (&field)[N], std::string_view text) noexcept {
  const std::size_t length = std::min(text.size(), N - 1);
  std::copy_n(text.data(), length, field);
  std::fill(field + length, field + N, '\0');
}

/// Writes `text` into a character array of a record from `index` on, cut so that the last character stays a NUL. What
/// surrounds it is left alone.
template <std::size_t N>
void PutFixed(char (&field)[N], std::size_t index, std::string_view text) noexcept {
  if (index < N - 1) {
    std::copy_n(text.data(), std::min(text.size(), N - 1 - index), field + index);
  }
}

/// The text of a character array, up to its first NUL or its end.
template <std::size_t N>
std::string_view FixedView(const char (&field)[N]) noexcept {
  return {field, static_cast<std::size_t>(std::find(field, field + N, '\0') - field)};
}

}  // namespace Kelvar::Text
