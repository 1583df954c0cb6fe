#pragma once

#include <optional>
#include <string>

#include "module/reader/ipmi/ReadingContext.h"

namespace Kelvar::Reader::Ipmi {

// The Data Center Manageability Interface, which some targets have beside the commands of IPMI. Each function makes no
// request but that for the capabilities on a target without it.

/// The identifier of the management controller, which is its host name; empty without one. Asked for once in a reading.
std::string ControllerName(ReadingContext& context, FamilyProgress& progress);

std::string DcmiAssetTag(ReadingContext& context, FamilyProgress& progress);

/// The power that the whole system takes; nothing when it is not measured.
std::optional<Model::Sensor> DcmiPower(ReadingContext& context, FamilyProgress& progress);

/// Watts of Get Power Reading without the group; nothing while no measurement is active.
std::optional<double> ParseDcmiPower(std::span<const u8> data) noexcept;

}  // namespace Kelvar::Reader::Ipmi
