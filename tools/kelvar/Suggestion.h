#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kelvar::Tool {

/// "; did you mean X?" for the known word that is most like `word`; empty when none is like it.
std::string Suggestion(std::string_view word, const std::vector<std::string>& known);

}  // namespace Kelvar::Tool
