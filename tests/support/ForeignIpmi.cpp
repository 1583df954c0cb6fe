#include "support/ForeignIpmi.h"

namespace Kelvar::Test {

namespace {

using Words = std::vector<std::string>;

CommandResult Run(Words words, const Words& request) {
  words.insert(words.end(), request.begin(), request.end());
  return RunCommand(words);
}

}  // namespace

CommandResult RunIpmiTool(const BmcSim& sim, const Words& request, const ForeignLogin& login) {
  const std::string port = std::to_string(sim.Port("ipmi"));
  Words words{"ipmitool", "-N", "1", "-R", "2", "-H", login.host, "-p", port, "-U", "admin", "-P", login.password};
  if (login.suite.empty()) {
    words.insert(words.end(), {"-I", "lan"});
  } else {
    words.insert(words.end(), {"-I", "lanplus", "-C", login.suite});
  }
  return Run(std::move(words), request);
}

CommandResult RunFreeIpmi(const std::string& program, const BmcSim& sim, const Words& options,
                          const ForeignLogin& login) {
  const std::string place = login.host + ':' + std::to_string(sim.Port("ipmi"));
  return Run({program, "-W", "opensesspriv", "-D", "LAN_2_0", "-I", login.suite, "-h", place, "-u", "admin", "-p",
              login.password, "-l", "admin"},
             options);
}

}  // namespace Kelvar::Test
