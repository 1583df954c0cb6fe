// Operations of the CIM backend against the bare enumeration that they are based on.
#include <cstdio>
#include <cstdlib>

#include "bench/cim/BenchServer.h"
#include "bench/cim/Measure.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"

namespace {

using namespace Kelvar;
using namespace Kelvar::Bench;

void Check(bool correct) {
  if (!correct) {
    std::abort();
  }
}

void Row(const BenchOptions& options, const char* name, const CimReply& reply,
         const std::function<std::size_t(NodeFirmwareInventoryImpCIM& backend)>& operation) {
  const BenchServer server(reply);
  const Cost bare = Measure([&] {
    const CIMConnection connection("root/cimv2", server.Info());
    Check(EnumerateAll(connection, "root/cimv2", reply.className.c_str()).size() == reply.instances);
  });
  const Cost whole = Measure([&] {
    NodeFirmwareInventoryImpCIM backend(server.Info());
    Check(operation(backend) == reply.instances);
  });
  std::printf("%-24s %9zu %9.1f %9.1f %9.2f\n", name, reply.instances, bare.seconds * 1e3, whole.seconds * 1e3,
              whole.seconds / bare.seconds);
  options.Print({std::string("CIM ") + name + ", " + std::to_string(reply.instances), "its enumeration", ToSpent(whole),
                 ToSpent(bare)});
}

}  // namespace

int main(int argc, char** argv) {
  const BenchOptions options(argc, argv);
  std::printf("%-24s %9s %9s %9s %9s\n", "operation", "instances", "bare ms", "whole ms", "time");
  Row(options, "GetZMCMessageLogData", LogEntries(20'000), [](NodeFirmwareInventoryImpCIM& backend) {
    std::vector<KelvarNfw::ZMCMESSAGELOGDATA> list;
    Check(backend.GetZMCMessageLogData(list, 3) == NodeFirmwareInventory::INVENTORY_SUCCESS);
    return list.size();
  });
  Row(options, "GetZMCNumericSensors", Sensors(5'000), [](NodeFirmwareInventoryImpCIM& backend) {
    std::vector<KelvarNfw::NUMERICSENSORS> list;
    Check(backend.GetZMCNumericSensors(list) == NodeFirmwareInventory::INVENTORY_SUCCESS);
    return list.size();
  });
  std::puts("goal: time at most 1.3");
  return 0;
}
