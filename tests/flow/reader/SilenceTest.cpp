// Services that drop kept connections without saying so.

#include <gtest/gtest.h>

#include "flow/reader/RedfishTree.h"
#include "module/reader/redfish/RedfishReader.h"

namespace Kelvar::Test {
namespace {

using namespace Model;
using std::chrono::milliseconds;

constexpr int kMembers = 40;

void PutFirmware(RedfishTree& tree) {
  const std::string list = "/redfish/v1/UpdateService/FirmwareInventory";
  tree.Put("/redfish/v1", R"({"RedfishVersion":"1.9.0","UpdateService":{"@odata.id":"/redfish/v1/UpdateService"},)"
                          R"("Links":{"Sessions":{"@odata.id":"/redfish/v1/SessionService/Sessions"}}})");
  tree.Put("/redfish/v1/UpdateService", R"({"Id":"U","FirmwareInventory":{"@odata.id":")" + list + R"("}})");
  std::vector<std::string> members;
  for (int i = 0; i < kMembers; ++i) {
    members.push_back(list + '/' + std::to_string(i));
    tree.Put(members.back(), R"({"Id":"x","Name":"N","Version":"1"})");
  }
  tree.PutCollection(list, members);
}

TEST(ReaderSilence, OfKeptConnectionsCostsNothingButTime) {
  std::mutex mutex;
  std::map<int, int> served;
  RedfishTree tree;
  PutFirmware(tree);
  tree.Server().OnAnythingElse([&](const HttpRequest& request) {
    const std::lock_guard lock(mutex);
    HttpReply reply = tree.Answer(request);
    // More than the silences in a row after which a service counts as gone.
    if (request.method == "GET" && request.connection <= 12 && ++served[request.connection] > 3) {
      reply.delay = std::chrono::hours(1);
    }
    return reply;
  });
  const auto target = tree.Target();
  const InventoryReaderOptions options;
  const Reader::ReadRequest request{.info = target,
                                    .options = options,
                                    .families = {Family::Firmware},
                                    .deadline = std::chrono::steady_clock::now() + std::chrono::seconds(50),
                                    .leastQuiet = milliseconds(20)};
  Inventory inventory;
  Diagnostics diagnostics;
  {
    const DiagnosticsScope scope(diagnostics);
    Reader::ReadRedfish(request, inventory);
  }
  EXPECT_EQ(inventory.firmware.size(), static_cast<std::size_t>(kMembers));
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Complete);
  EXPECT_EQ(diagnostics.Cause(), FailureCause::None);
  EXPECT_EQ(diagnostics.GapCount(), 0U);
  EXPECT_GT(tree.Server().ConnectionCount(), 12);
  EXPECT_EQ(tree.OpenSessions(), 0);
}

}  // namespace
}  // namespace Kelvar::Test
