#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kelvar/Report.h"
#include "tools/kelvar/serve/Exposition.h"

namespace Kelvar::Tool::Serve {

/// Turns what was read from one target into metrics, result by result. What a target names twice gets " #2" after its
/// second name, and so on; of each kind a bounded number is told, the rest is counted as dropped. A plain value.
class ProbeMetrics {
 public:
  void Add(const OperationResult& result, Protocol protocol);

  /// What became of the connection, known when the reading is over.
  void SetConnectCode(ExitCode code) { connectCode_ = code; }

  /// The whole answer. `finished`: nothing was left out for lack of time.
  std::string Text(double seconds, bool finished) const;

 private:
  /// Names of one kind that are given out.
  class Names {
   public:
    /// `name` cleaned and made unlike all others; empty when there are `limit` already.
    std::string Take(std::string_view name, std::size_t limit);

   private:
    std::set<std::string> taken_;
    std::map<std::string, unsigned> copies_;
  };

  using Metrics = Operation::Metrics;

  void AddRecord(Metrics metrics, const Record& record, Protocol protocol);
  void AddGeneration(const Record& record);
  void AddFirmware(const Record& record);
  void AddFirmwareRow(std::string_view name, const std::string& version, const std::string& date);
  void AddComponent(const Record& record);
  void AddSensor(const Record& record, Protocol protocol);
  void AddLed(const Record& record);
  void AddLog(const char* name, const std::vector<Record>& records);
  std::string NameFor(Names& names, std::string_view name, std::size_t limit);

  Exposition samples_;
  bool up_ = false;
  std::optional<ExitCode> connectCode_;
  std::size_t dropped_ = 0;
  std::set<std::string> operations_;
  Names firmware_;
  Names components_;
  Names sensors_;
  Names leds_;
};

}  // namespace Kelvar::Tool::Serve
