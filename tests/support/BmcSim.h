#pragma once

#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

#include <kelvar/Types.h>

namespace Kelvar::Test {

/// The simulator as a program of its own, on free ports, for the life of the object; it also ends with the test
/// program.
class BmcSim {
 public:
  /// Starts it and waits until it is ready. `arguments` follow "--machine MACHINE", such as {"--serve", "ipmi"} or
  /// {"--fault", "ipmi:NAME"}. Throws std::runtime_error when it does not start.
  explicit BmcSim(const std::string& machine = "full", const std::vector<std::string>& arguments = {});
  ~BmcSim() { Stop(); }
  BmcSim(const BmcSim&) = delete;
  BmcSim& operator=(const BmcSim&) = delete;

  /// Port of "ipmi", "redfish" or another name that the simulator announces. Throws std::out_of_range when it does
  /// not serve that.
  u16 Port(const std::string& protocol) const { return ports_.at(protocol); }

  pid_t Process() const { return process_; }

  /// Ends it as its users do, by ending its input; harmless when it is not running.
  void Stop();

 private:
  void ReadPorts(int output);

  pid_t process_ = -1;
  int input_ = -1;
  std::map<std::string, u16> ports_;
};

}  // namespace Kelvar::Test
