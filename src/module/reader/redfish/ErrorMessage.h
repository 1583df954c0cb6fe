#pragma once

#include <string>

namespace Kelvar::Reader {

/// What a service says in the body of a request that it refused, for people: the text of its messages, or their keys.
/// Empty where it says nothing. As it came: it may hold control characters.
std::string ErrorMessage(const std::string& body);

}  // namespace Kelvar::Reader
