#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace Kelvar::JsonScan {

// Walking through strings many bytes at a time.

enum class Until {
  Mark,     ///< a quote or a backslash
  Unusual,  ///< these, a control character, or a byte of a several-byte character
};

template <Until until>
constexpr bool Ends(char letter) noexcept {
  const auto byte = static_cast<unsigned char>(letter);
  return byte == '"' || byte == '\\' || (until == Until::Unusual && (byte < 0x20 || byte >= 0x80));
}

#ifdef __SSE2__

constexpr int kStep = 16;

/// Number of bytes before the first that ends the run, kStep when none does.
template <Until until>
int CountBefore(const char* at) noexcept {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  __m128i ends = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\')));
  if constexpr (until == Until::Unusual) {  // bytes from 0x80 are negative
    ends = _mm_or_si128(ends, _mm_cmplt_epi8(bytes, _mm_set1_epi8(0x20)));
  }
  return std::countr_zero(static_cast<unsigned>(_mm_movemask_epi8(ends)) | (1U << kStep));
}

#else

constexpr int kStep = 8;

template <Until until>
int CountBefore(const char* at) noexcept {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  std::uint64_t word = 0;
  std::memcpy(&word, at, sizeof word);
  const std::uint64_t quote = word ^ (kOnes * '"');
  const std::uint64_t backslash = word ^ (kOnes * '\\');
  std::uint64_t ends = ((quote - kOnes) & ~quote) | ((backslash - kOnes) & ~backslash);
  if constexpr (until == Until::Unusual) {
    ends |= (word - kOnes * 0x20) | word;
  }
  if ((ends & (kOnes * 0x80)) == 0) {
    return kStep;
  }
  int count = 0;
  while (!Ends<until>(at[count])) {
    ++count;
  }
  return count;
}

#endif

/// The first byte that ends the run, or `end`.
template <Until until>
const char* Skip(const char* at, const char* end) noexcept {
  while (end - at >= kStep) {
    const int count = CountBefore<until>(at);
    at += count;
    if (count != kStep) {
      return at;
    }
  }
  while (at != end && !Ends<until>(*at)) {
    ++at;
  }
  return at;
}

}  // namespace Kelvar::JsonScan
