// The simulator as a program: what it starts ends with it, whatever ends it.

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "support/BmcSim.h"

namespace Kelvar::Test {
namespace {

namespace fs = std::filesystem;

pid_t OnlyChildOf(pid_t parent) {
  std::ifstream list("/proc/" + std::to_string(parent) + "/task/" + std::to_string(parent) + "/children");
  pid_t child = 0;
  list >> child;
  return child;
}

bool EndsSoon(pid_t process) {
  for (int i = 0; i < 400; ++i) {
    std::ifstream status("/proc/" + std::to_string(process) + "/stat");
    std::string number;
    std::string name;
    std::string state;
    if (!(status >> number >> name >> state) || state == "Z") {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

class EndOfTheSimulator : public testing::TestWithParam<int> {};

TEST_P(EndOfTheSimulator, TakesIpmiSimWithIt) {
  BmcSim sim("full", {"--serve", "ipmi"});
  const pid_t child = OnlyChildOf(sim.Process());
  ASSERT_GT(child, 0);
  if (GetParam() == 0) {
    sim.Stop();
  } else {
    kill(sim.Process(), GetParam());
  }
  EXPECT_TRUE(EndsSoon(child));
}

INSTANTIATE_TEST_SUITE_P(By, EndOfTheSimulator, testing::Values(0, SIGTERM, SIGINT, SIGKILL));

TEST(EndOfIpmiSim, EndsTheSimulator) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  kill(OnlyChildOf(sim.Process()), SIGKILL);
  EXPECT_TRUE(EndsSoon(sim.Process()));
}

TEST(StartOfTheSimulator, SaysWhatIsWrong) {
  EXPECT_THROW(BmcSim("no-such-machine", {"--serve", "ipmi"}), std::runtime_error);
  EXPECT_THROW(BmcSim("full", {"--serve", "ipmi", "--fault", "ipmi:no-such-fault"}), std::runtime_error);
  EXPECT_THROW(BmcSim("full", {"--serve", "smoke-signals"}), std::runtime_error);
}

}  // namespace
}  // namespace Kelvar::Test
