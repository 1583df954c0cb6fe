#pragma once

#include <string>

#include <rapidjson/document.h>

#include "simulator/cim/Repository.h"
#include "simulator/machine/Facts.h"

namespace Kelvar::Simulator::Cim {

/// The class that a document declares, without its instances. Throws std::runtime_error.
Class ReadClass(const std::string& name, const rapidjson::Value& document);

/// Adds the instances of the document to the class. All classes of the namespace must have been declared before, since
/// inherited properties and references are typed by them. Throws std::runtime_error.
void ReadInstances(const rapidjson::Value& document, const Namespace& space, const Facts& facts, Class& into);

}  // namespace Kelvar::Simulator::Cim
