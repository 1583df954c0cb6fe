#pragma once

#include <kelvar/Export.h>
#include <kelvar/NodeFirmwareInventory.h>
#include <kelvar/Types.h>

namespace Kelvar {

// Text for the enumerations. Never null, valid for the life of the process, safe from any thread; a number outside an
// enumeration gives "UNKNOWN" (a description: "unknown result").

/// The enumerator's own name, such as "INVENTORY_SUCCESS".
KELVAR_EXPORT const char* NameOf(NodeFirmwareInventory::INVENTORYRETURNCODE code) noexcept;
KELVAR_EXPORT const char* NameOf(NodeFirmwareInventory::ZMCGENERATIONTYPE generation) noexcept;
KELVAR_EXPORT const char* NameOf(NodeFirmwareInventory::CIMCONNECTIONTYPE type) noexcept;
KELVAR_EXPORT const char* NameOf(KelvarConnection::CONNECTIONCASE connectionCase) noexcept;

/// What a result means, as a short English phrase for people.
KELVAR_EXPORT const char* DescriptionOf(NodeFirmwareInventory::INVENTORYRETURNCODE code) noexcept;

}  // namespace Kelvar
