#include "simulator/machine/Paths.h"

#include <cstdlib>
#include <initializer_list>
#include <stdexcept>

namespace Kelvar::Simulator {

namespace {

namespace fs = std::filesystem;

fs::path ExecutableFolder() {
  return fs::read_symlink("/proc/self/exe").parent_path();
}

fs::path FirstThatExists(std::initializer_list<fs::path> candidates, const char* what) {
  std::string tried;
  for (const fs::path& candidate : candidates) {
    if (fs::exists(candidate)) {
      return fs::canonical(candidate);
    }
    tried += ' ' + candidate.string();
  }
  throw std::runtime_error(std::string("no ") + what + "; tried:" + tried);
}

}  // namespace

fs::path MachineLibrary(const fs::path& wanted) {
  if (!wanted.empty()) {
    return FirstThatExists({wanted}, "folder of machines");
  }
  if (const char* configured = std::getenv("KELVAR_MACHINES"); configured != nullptr) {
    return FirstThatExists({configured}, "folder of machines");
  }
  const fs::path here = ExecutableFolder();
  return FirstThatExists({here / "machines", here / KELVAR_BIN_TO_MACHINES}, "folder of machines");
}

fs::path ModuleFile(const char* fileName) {
  const fs::path here = ExecutableFolder();
  return FirstThatExists({here / fileName, here / KELVAR_BIN_TO_MODULES / fileName}, "simulator module");
}

}  // namespace Kelvar::Simulator
