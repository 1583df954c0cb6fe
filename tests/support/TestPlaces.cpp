#include "support/TestPlaces.h"

namespace Kelvar::Test {

const char* const kToolProgram = KELVAR_TOOL;
const char* const kSimulatorProgram = KELVAR_BMCSIM;
const char* const kIpmiModule = KELVAR_IPMI_MODULE;
const char* const kMachineFolder = KELVAR_SOURCE_TREE "/simulator/machines";
const char* const kExpectations = KELVAR_SOURCE_TREE "/tests/data/machines";
const char* const kFaultCatalogues = KELVAR_SOURCE_TREE "/tests/data/faults";

std::string InTree(const std::string& path) {
  return KELVAR_SOURCE_TREE "/" + path;
}

}  // namespace Kelvar::Test
