#pragma once

#include <string>

namespace Kelvar::Test {

/// Where a JSON text breaks the schema of a file, such as "#/results/0: anyOf"; empty when it does not.
std::string Breach(const std::string& schemaFile, const std::string& text);

}  // namespace Kelvar::Test
