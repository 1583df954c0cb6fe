// A program of somebody else, built against the installed package.

#include <cstdio>
#include <string>
#include <vector>

#include <kelvar/GlobalConfig.h>
#include <kelvar/Log.h>
#include <kelvar/Names.h>
#include <kelvar/NodeFirmwareInventory.h>
#ifdef CONSUMER_STATIC
#include <kelvar/RedfishClient.h>
#endif

/// What only the static library lets a program reach.
static bool PrivatePartsWork() {
#ifdef CONSUMER_STATIC
  Rest::RedfishClient client;
  return client.Request(4, "http://127.0.0.1:1/", "").body == "unknown request type";
#else
  return true;
#endif
}

int main() {
  std::string logged;
  Kelvar::Log::SetSink([&](Kelvar::u32, const char*, int, const std::string& text) { logged += text; });
  Kelvar::Log::SetMinLogLevel(4);
  Kelvar::SetGlobalConfigValue("REDFISH_STARTUP_WAIT_TIME", 0);

  Kelvar::KelvarConnection::ConnectionInfo target;
  target.Host = "127.0.0.1";
  target.Port = 1;
  target.UserName = "admin";
  target.Password = "not-to-be-logged";
  target.ConnectionCase = Kelvar::KelvarConnection::CONNECTION_CASE_REDFISH;

  Kelvar::NodeFirmwareInventory inventory(target);
  std::vector<Kelvar::KelvarNfw::INDICATORLEDS> leds;
  const auto code = inventory.GetZMCIndicatorLED(leds);
  std::printf("%s (%s), port %d\n", Kelvar::NameOf(code), Kelvar::DescriptionOf(code), inventory.GetCIMPort());

  const bool quiet = logged.find(target.Password) == std::string::npos;
  return inventory.GetCIMPort() == 5988 && quiet && !logged.empty() && PrivatePartsWork() ? 0 : 1;
}
