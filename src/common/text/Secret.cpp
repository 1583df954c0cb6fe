#include "common/text/Secret.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Kelvar::Text {

Secret::Secret(std::string_view text) : bytes_(new char[text.size()]), size_(text.size()) {
  std::copy(text.begin(), text.end(), bytes_.get());
}

Secret::Secret(Secret&& other) noexcept : bytes_(std::move(other.bytes_)), size_(std::exchange(other.size_, 0)) {}

Secret& Secret::operator=(Secret&& other) noexcept {
  if (this != &other) {
    Clear();
    bytes_ = std::move(other.bytes_);
    size_ = std::exchange(other.size_, 0);
  }
  return *this;
}

void Secret::Clear() noexcept {
  if (bytes_) {
    explicit_bzero(bytes_.get(), size_);
  }
  bytes_.reset();
  size_ = 0;
}

void WipeText(std::string& text) noexcept {
  text.resize(text.capacity());
  explicit_bzero(text.data(), text.size());
  text.clear();
}

}  // namespace Kelvar::Text
