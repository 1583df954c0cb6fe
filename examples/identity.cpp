// usage: KELVAR_PASSWORD=... identity HOST PORT USER
// Prints what a server is, read over Redfish.

#include <cstdio>
#include <cstdlib>
#include <string>

#include <kelvar/Names.h>
#include <kelvar/NodeFirmwareInventory.h>

int main(int argc, char** argv) {
  const char* password = std::getenv("KELVAR_PASSWORD");
  if (argc != 4 || password == nullptr) {
    std::fprintf(stderr, "usage: KELVAR_PASSWORD=... %s HOST PORT USER\n", argv[0]);
    return 2;
  }
  Kelvar::KelvarConnection::ConnectionInfo target;
  target.Host = argv[1];
  target.Port = static_cast<Kelvar::u16>(std::stoi(argv[2]));
  target.UserName = argv[3];
  target.Password = password;
  target.ConnectionCase = Kelvar::KelvarConnection::CONNECTION_CASE_REDFISH;

  Kelvar::NodeFirmwareInventory inventory(target);
  Kelvar::KelvarAgentless::ComputerSystem system;
  const auto code = inventory.GetHardwareInfoComputerSystem(system);
  // Texts are as the target gave them: escape them before they reach a terminal that you care for.
  std::printf("%s: %s, serial number %s\n", Kelvar::NameOf(code), system.ProductName.c_str(),
              system.SerialNumber.c_str());
  return code == Kelvar::NodeFirmwareInventory::INVENTORY_SUCCESS ? 0 : 1;
}
