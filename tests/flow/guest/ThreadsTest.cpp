// Objects of many threads at the same time, over all three protocols.

#include <array>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "flow/guest/GuestReadings.h"

namespace Kelvar::Test {
namespace {

TEST(GuestThreads, SixtyFourObjectsOnAsManyThreads) {
  const BmcSim sim;
  const auto targets = TargetsOf(sim);
  // A service processor has one reservation of its sensor repository: threads would take it from each other.
  const std::array<std::string (*)(const ConnectionInfo&), 3> read = {ReadAll, ReadAll, ReadFirmware};
  std::array<std::string, 64> found;
  std::vector<std::thread> threads;
  for (std::size_t index = 0; index < found.size(); ++index) {
    threads.emplace_back([&, index] { found[index] = read[index % 3](targets[index % 3]); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::array<std::string, 3> alone;
  for (std::size_t index = 0; index < alone.size(); ++index) {
    alone[index] = read[index](targets[index]);
    EXPECT_EQ(alone[index].front(), '0') << index;
  }
  for (std::size_t index = 0; index < found.size(); ++index) {
    EXPECT_EQ(found[index], alone[index % 3]) << index;
  }
}

}  // namespace
}  // namespace Kelvar::Test
