// A whole reading from a service processor that answers with any bytes.

#include <kelvar/Log.h>

#include "fuzz/Check.h"
#include "fuzz/StreamIpmi.h"
#include "module/reader/ipmi/ReadingContext.h"

using namespace Kelvar;
using namespace Kelvar::Reader::Ipmi;

namespace {

/// Never waits; every look at it costs a millisecond, which bounds the reading.
class CountingClock : public Clock {
 public:
  TimePoint Now() override { return now_ += std::chrono::milliseconds(1); }
  void Sleep(std::chrono::milliseconds pause) override { now_ += pause; }

 private:
  TimePoint now_{};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Log::SetMinLogLevel(0);
  Fuzz::StreamIpmi client({data, size});
  CountingClock clock;
  ReadingOptions options;
  options.families = {Model::kAllFamilies.begin(), Model::kAllFamilies.end()};
  options.deadline = clock.Now() + std::chrono::seconds(10);
  Model::Inventory inventory;
  ReadInventory(client, clock, options, inventory);
  for (const Model::Family family : Model::kAllFamilies) {
    const Model::FamilyResult& result = inventory.ResultOf(family);
    FUZZ_CHECK(result.status != Model::FamilyStatus::NotAsked);
    FUZZ_CHECK((result.status == Model::FamilyStatus::Complete) == result.reason.empty());
  }
  return 0;
}
