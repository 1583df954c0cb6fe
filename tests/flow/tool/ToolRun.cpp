#include "flow/tool/ToolRun.h"

#include "support/TestPlaces.h"

namespace Kelvar::Test {

CommandResult RunTool(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
  std::vector<std::string> words{"setsid", "--wait", kToolProgram};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return RunCommand(words, environment);
}

CommandResult RunOperation(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
  std::vector<std::string> words{"operation"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return RunTool(words, environment);
}

}  // namespace Kelvar::Test
