#include "simulator/redfish/MadeTime.h"

#include <array>
#include <ctime>

namespace Kelvar::Simulator {

std::string MadeTime(double number) {
  constexpr std::time_t kStart = 1'767'225'600;
  constexpr double kStep = 660;
  const std::time_t time = kStart + static_cast<std::time_t>(number * kStep);
  std::tm parts{};
  gmtime_r(&time, &parts);
  std::array<char, 32> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts)};
}

}  // namespace Kelvar::Simulator
