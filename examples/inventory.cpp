// usage: KELVAR_PASSWORD=... inventory HOST PORT USER
// Prints the sensors of a server of any manufacturer, read over Redfish, and what is wrong with the machine.

#include <cstdio>
#include <cstdlib>
#include <string>

#include <kelvar/InventoryReader.h>

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

  Kelvar::InventoryReader reader(target);
  const Kelvar::Model::Inventory inventory = reader.Read();
  for (const auto& sensor : inventory.sensors) {
    if (sensor.reading) {
      std::printf("%s: %g %s\n", sensor.name.c_str(), *sensor.reading, sensor.unit.c_str());
    }
  }
  const Kelvar::Model::Verdict verdict = Kelvar::Model::Judge(inventory);
  std::printf("health: %s\n", Kelvar::Model::NameOf(verdict.health));
  for (const auto& reason : verdict.reasons) {
    std::printf("  %s: %s\n", reason.family.c_str(), reason.text.c_str());
  }
  return verdict.health == Kelvar::Model::Health::Ok ? 0 : 1;
}
