#pragma once

#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kelvar/InventoryReader.h>

#include "support/BmcSim.h"
#include "support/ForeignIpmi.h"
#include "support/TemporaryFolder.h"

namespace Kelvar::Test {

using Words = std::vector<std::string>;

inline KelvarConnection::ConnectionInfo IpmiInfo(u16 port) {
  KelvarConnection::ConnectionInfo info;
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_IPMI_LAN;
  info.Host = "127.0.0.1";
  info.Port = port;
  info.UserName = "admin";
  info.Password = "kelvar-demo";
  info.RemoteSessionArgument = 3;
  return info;
}

inline std::vector<Words> Table(const std::string& text, char separator) {
  std::vector<Words> rows;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    Words cells;
    std::istringstream words(line);
    for (std::string cell; std::getline(words, cell, separator);) {
      const std::size_t first = cell.find_first_not_of(' ');
      cells.push_back(first == std::string::npos ? "" : cell.substr(first, cell.find_last_not_of(' ') + 1 - first));
    }
    rows.push_back(std::move(cells));
  }
  return rows;
}

inline std::string Squeezed(const std::string& text) {
  std::string result;
  for (const char letter : text) {
    if (letter != ' ' || (!result.empty() && result.back() != ' ')) {
      result += letter;
    }
  }
  return result;
}

/// A number as a foreign tool prints it, against ours; "na" and "N/A" for none.
inline void ExpectNumber(const std::string& printed, std::optional<double> value, double tolerance,
                         const std::string& what) {
  const bool none = printed == "na" || printed == "N/A";
  EXPECT_EQ(!none, value.has_value()) << what << ": " << printed;
  if (!none && value) {
    EXPECT_NEAR(std::stod(printed), *value, tolerance) << what;
  }
}

/// The machine with many sensors, and what the reader finds on it.
class Comparison : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    sim_ = std::make_unique<BmcSim>("many-sensors", Words{"--serve", "ipmi"});
    inventory_ = InventoryReader(IpmiInfo(sim_->Port("ipmi"))).Read();
  }
  static void TearDownTestSuite() { sim_.reset(); }

  static std::string IpmiTool(const Words& request) { return RunIpmiTool(*sim_, request).output; }

  std::string FreeIpmi(const std::string& program, Words request) const {
    if (program != "bmc-info") {  // which reads no records
      request.insert(request.end(), {"--quiet-cache", "--sdr-cache-directory=" + folder_.Path().string()});
    }
    return RunFreeIpmi(program, *sim_, request, {.suite = "17"}).output;
  }

  static const Model::Sensor* SensorNamed(const std::string& name) {
    for (const Model::Sensor& sensor : inventory_.sensors) {
      if (sensor.name == name) {
        return &sensor;
      }
    }
    return nullptr;
  }

  TemporaryFolder folder_;
  inline static std::unique_ptr<BmcSim> sim_;
  inline static Model::Inventory inventory_;
};

}  // namespace Kelvar::Test
