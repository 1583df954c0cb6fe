#pragma once

#include <cstddef>
#include <span>
#include <string>

#include <kelvar/Types.h>

namespace Kelvar::Text {

/// Reads bytes that came off a wire. A read past the end gives zeros, sets an error that stays and leaves nothing
/// remaining, so that a whole layout is read first and the reader is asked once whether all of it was there.
class ByteReader {
 public:
  explicit ByteReader(std::span<const u8> bytes) noexcept : bytes_(bytes) {}

  bool Ok() const noexcept { return !failed_; }
  std::size_t Position() const noexcept { return position_; }
  std::size_t Remaining() const noexcept { return bytes_.size() - position_; }

  u8 U8() noexcept {
    const auto taken = Bytes(1);
    return taken.empty() ? u8{0} : taken[0];
  }

  /// Low byte first.
  u16 U16() noexcept {
    const auto taken = Bytes(2);
    return taken.empty() ? u16{0} : static_cast<u16>(taken[0] | (taken[1] << 8));
  }

  /// Low byte first.
  u32 U32() noexcept {
    const u32 low = U16();
    return low | (static_cast<u32>(U16()) << 16);
  }

  /// The next `count` bytes; none when fewer are left.
  std::span<const u8> Bytes(std::size_t count) noexcept {
    if (failed_ || count > Remaining()) {
      failed_ = true;
      position_ = bytes_.size();
      return {};
    }
    const auto taken = bytes_.subspan(position_, count);
    position_ += count;
    return taken;
  }

  /// The next `count` bytes as they are; empty when fewer are left.
  std::string String(std::size_t count) {
    const auto taken = Bytes(count);
    return {taken.begin(), taken.end()};
  }

  /// Everything after the position.
  std::span<const u8> Rest() noexcept { return Bytes(Remaining()); }

  void Skip(std::size_t count) noexcept { (void)Bytes(count); }

 private:
  std::span<const u8> bytes_;
  std::size_t position_ = 0;
  bool failed_ = false;
};

}  // namespace Kelvar::Text
