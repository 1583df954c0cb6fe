// usage: KELVAR_PASSWORD=... failures HOST PORT USER
// Reads sensors over Redfish and says why some are missing: the cause, the gaps and the requests, as data.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <kelvar/Diagnostics.h>
#include <kelvar/Log.h>
#include <kelvar/Names.h>
#include <kelvar/NodeFirmwareInventory.h>

int main(int argc, char** argv) {
  const char* password = std::getenv("KELVAR_PASSWORD");
  if (argc != 4 || password == nullptr) {
    std::fprintf(stderr, "usage: KELVAR_PASSWORD=... %s HOST PORT USER\n", argv[0]);
    return 2;
  }
  Kelvar::Log::SetMinLogLevel(0);  // the diagnostics say it better than the log
  Kelvar::KelvarConnection::ConnectionInfo target;
  target.Host = argv[1];
  target.Port = static_cast<Kelvar::u16>(std::stoi(argv[2]));
  target.UserName = argv[3];
  target.Password = password;
  target.ConnectionCase = Kelvar::KelvarConnection::CONNECTION_CASE_REDFISH;

  Kelvar::Diagnostics diagnostics;
  std::vector<Kelvar::KelvarNfw::NUMERICSENSORS> sensors;
  auto code = Kelvar::NodeFirmwareInventory::INVENTORY_FAILED;
  {
    const Kelvar::DiagnosticsScope scope(diagnostics);  // records what this thread does in the library
    Kelvar::NodeFirmwareInventory inventory(target);
    code = inventory.GetZMCNumericSensors(sensors);
  }
  std::printf("%zu sensors, %s\n", sensors.size(), Kelvar::DescriptionOf(code));
  switch (diagnostics.Cause()) {
    case Kelvar::FailureCause::None:
      break;
    case Kelvar::FailureCause::LoginRefused:  // asking again may lock the account
      std::printf("check user and password; the target refused them\n");
      break;
    case Kelvar::FailureCause::Unreachable:
    case Kelvar::FailureCause::Refused:
      std::printf("check the address and whether the service is switched on: %s\n", diagnostics.Detail().c_str());
      break;
    default:
      std::printf("%s: %s\n", Kelvar::DescriptionOf(diagnostics.Cause()), diagnostics.Detail().c_str());
  }
  for (const auto& gap : diagnostics.Gaps()) {
    std::printf("  missing: %s: %s\n", gap.what.c_str(), gap.detail.c_str());
  }
  for (const auto& exchange : diagnostics.Exchanges()) {
    std::printf("  %s -> %s, %.0f ms\n", exchange.request.c_str(), exchange.response.c_str(), exchange.seconds * 1e3);
  }
  return code == Kelvar::NodeFirmwareInventory::INVENTORY_SUCCESS ? 0 : 1;
}
