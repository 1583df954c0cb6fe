#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Kelvar::Test {

/// A text that a test looks for in its own memory: kept in disguise, so that it does not find itself.
class HiddenText {
 public:
  explicit HiddenText(std::string text);
  /// In clear; the caller wipes it.
  std::string Reveal() const;
  /// How often the text occurs in the writable memory of this process.
  std::size_t CountInMemory() const;
  std::size_t CountIn(const unsigned char* begin, const unsigned char* end) const;

 private:
  std::vector<unsigned char> disguised_;
};

/// While it lives, counts the blocks that are freed with the text in them. One at a time.
class FreedBlockWatch {
 public:
  explicit FreedBlockWatch(const HiddenText& text);
  ~FreedBlockWatch();
  FreedBlockWatch(const FreedBlockWatch&) = delete;
  FreedBlockWatch& operator=(const FreedBlockWatch&) = delete;
  std::size_t Count() const;
};

/// Overwrites what was allocated and freed before.
void ScribbleOverFreedMemory();

}  // namespace Kelvar::Test
