// usage: KELVAR_PASSWORD=... ipmi_components HOST PORT USER
// Lists the replaceable parts of a server over IPMI, with cipher suite 17 alone.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <kelvar/ConnectionOptions.h>
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
  target.ConnectionCase = Kelvar::KelvarConnection::CONNECTION_CASE_IPMI_LAN;
  target.RemoteSessionArgument = 17;

  Kelvar::ConnectionOptions options;
  options.operation_limit_seconds = 60;  // a slow target gives what it has until then
  const Kelvar::ConnectionOptionsScope scope(options);
  Kelvar::NodeFirmwareInventory inventory(target);  // connects
  std::vector<Kelvar::OtherSystemVPD> components;
  const auto code = inventory.GetNodeOtherSystemVPD(components);
  for (const auto& component : components) {
    std::printf("%-24s %-16s %s\n", component.Name.c_str(), component.PartNumber.c_str(),
                component.SerialNumber.c_str());
  }
  std::printf("%s\n", Kelvar::DescriptionOf(code));
  return code == Kelvar::NodeFirmwareInventory::INVENTORY_SUCCESS ? 0 : 1;
}
