#include "common/json/JsonLimits.h"

#include <algorithm>
#include <array>

#include "common/json/JsonScan.h"

namespace Kelvar {

namespace {

enum class Kind : unsigned char { Other, Quote, Open, Close, Comma };

constexpr std::array<Kind, 256> MakeKinds() {
  std::array<Kind, 256> kinds{};
  kinds['"'] = Kind::Quote;
  kinds['['] = kinds['{'] = Kind::Open;
  kinds[']'] = kinds['}'] = Kind::Close;
  kinds[','] = Kind::Comma;
  return kinds;
}

constexpr auto kKinds = MakeKinds();

/// The position after a string whose opening quote was read.
const char* SkipString(const char* at, const char* end) noexcept {
  for (;;) {
    at = JsonScan::Skip<JsonScan::Until::Mark>(at, end);
    if (at == end || *at == '"') {
      return at == end ? end : at + 1;
    }
    at += end - at > 1 ? 2 : 1;
  }
}

}  // namespace

const char* CheckJsonLimits(std::string_view text, const JsonLimits& limits) noexcept {
  if (text.size() > limits.bytes) {
    return "JSON text too large";
  }
  std::size_t depth = 0;
  std::size_t values = 1;
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at != end;) {
    const Kind kind = kKinds[static_cast<unsigned char>(*at++)];
    if (kind == Kind::Other) {
      continue;
    }
    if (kind == Kind::Quote) {
      at = SkipString(at, end);
      continue;
    }
    if (kind == Kind::Close) {
      depth -= std::min<std::size_t>(depth, 1);
      continue;
    }
    depth += kind == Kind::Open ? 1 : 0;
    if (depth > limits.depth) {
      return "JSON text nested too deep";
    }
    if (++values > limits.values) {
      return "JSON text with too many values";
    }
  }
  return nullptr;
}

}  // namespace Kelvar
