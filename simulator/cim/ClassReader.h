#pragma once

#include <string>

#include <rapidjson/document.h>

#include "simulator/cim/Repository.h"
#include "simulator/machine/Variables.h"

namespace Kelvar::Simulator::Cim {

/// Takes what the document declares: superclass and properties. Throws std::runtime_error.
void ReadDeclaration(const rapidjson::Value& document, Class& into);

/// Adds the instances of the document to the class, and what it says about sending them. All classes of the namespace
/// must have been declared before, since inherited properties and references are typed by them. Throws
/// std::runtime_error.
void ReadInstances(const rapidjson::Value& document, const Namespace& space, const Variables& variables, Class& into);

}  // namespace Kelvar::Simulator::Cim
