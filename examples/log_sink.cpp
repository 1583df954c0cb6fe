// usage: log_sink HOST PORT
// Sends the library's log to syslog, and counts the problems that it reports while sensors were read over Redfish.

#include <cstdio>
#include <string>
#include <vector>

#include <syslog.h>

#include <kelvar/Log.h>
#include <kelvar/Names.h>
#include <kelvar/NodeFirmwareInventory.h>

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s HOST PORT\n", argv[0]);
    return 2;
  }
  int problems = 0;
  // One thread at a time is inside the sink, so the counter needs no lock.
  Kelvar::Log::SetSink([&](Kelvar::u32 level, const char* file, int line, const std::string& text) {
    problems += level <= 2 ? 1 : 0;
    syslog(level == 1 ? LOG_ERR : LOG_INFO, "%s:%d: %s", file, line, text.c_str());
  });
  Kelvar::Log::SetMinLogLevel(2);  // failures and gaps, no trace

  Kelvar::KelvarConnection::ConnectionInfo target;
  target.Host = argv[1];
  target.Port = static_cast<Kelvar::u16>(std::stoi(argv[2]));
  target.ConnectionCase = Kelvar::KelvarConnection::CONNECTION_CASE_REDFISH;
  Kelvar::NodeFirmwareInventory inventory(target);
  std::vector<Kelvar::KelvarNfw::NUMERICSENSORS> sensors;
  const auto code = inventory.GetZMCNumericSensors(sensors);
  Kelvar::Log::SetSink(nullptr);  // before the counter goes
  std::printf("%s, %zu sensors, %d problems\n", Kelvar::DescriptionOf(code), sensors.size(), problems);
  return 0;
}
