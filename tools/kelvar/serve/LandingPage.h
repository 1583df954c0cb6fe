#pragma once

#include <string>
#include <vector>

#include "tools/kelvar/serve/LastStates.h"
#include "tools/kelvar/serve/TargetsFile.h"

namespace Kelvar::Tool::Serve {

/// The page at "/": a form that asks for a target, and the last state of each that was read or is in the list. It needs
/// no script; its style is kLandingStyle, at "style.css".
std::string LandingPage(const std::vector<std::string>& modules, const std::vector<TargetGroup>& listed,
                        const std::vector<LastState>& states);

extern const char* const kLandingStyle;

/// The content security policy that the page fits.
constexpr const char* kLandingPolicy =
    "default-src 'none'; style-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'";

}  // namespace Kelvar::Tool::Serve
