#pragma once

#include <kelvar/Types.h>

namespace Kelvar::Reader::Ipmi {

/// What an entity ID stands for.
struct EntityKind {
  const char* name;     ///< the standard's words, such as "power supply"
  const char* kind;     ///< the model's kind of component
  const char* context;  ///< DMTF's physical context in lower case; empty when there is none
};

/// "unknown" and "other" for an ID that the standard does not know.
const EntityKind& EntityKindOf(u8 id) noexcept;

}  // namespace Kelvar::Reader::Ipmi
