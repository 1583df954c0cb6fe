#pragma once

#include <string>
#include <string_view>

#include "simulator/cim/Repository.h"

namespace Kelvar::Simulator::Cim {

/// Writes text for an element or an attribute; line feeds, carriage returns and tabs as references, so that no parser
/// changes them.
void AppendEscaped(std::string& xml, std::string_view text);

void AppendInstanceName(std::string& xml, const InstanceName& name);

/// Whether XML 1.0 can hold the text: no control characters but tab, line feed and carriage return.
bool IsXmlText(std::string_view text) noexcept;

}  // namespace Kelvar::Simulator::Cim
