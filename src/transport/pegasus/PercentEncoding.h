#pragma once

#include <string>
#include <string_view>

namespace Pegasus::Detail {

/// Everything but letters, digits and "-_.~" as %XX.
std::string PercentEncoded(std::string_view text);

/// A "%" that two hexadecimal digits do not follow stays.
std::string PercentDecoded(std::string_view text);

}  // namespace Pegasus::Detail
