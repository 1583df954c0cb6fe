#pragma once

#include <cstdio>
#include <cstring>
#include <string>

namespace Kelvar::Bench {

/// What one side of a comparison took; negative: not measured.
struct Spent {
  double seconds = -1;
  double cpuSeconds = -1;
  double peakMiB = -1;
};

/// One row of the table of scripts/bench.
struct TableRow {
  std::string operation;
  std::string against;
  Spent own;
  Spent other;
  double requests = -1;
  double connections = -1;
};

/// How a bench was called: "--rows" adds tab-separated rows for bench/table.py to its own output, "--quick" leaves the
/// large sizes out.
class BenchOptions {
 public:
  BenchOptions(int argc, char** argv) : rows_(Has(argc, argv, "--rows")), quick_(Has(argc, argv, "--quick")) {}

  bool Quick() const { return quick_; }

  void Print(const TableRow& row) const {
    if (!rows_) {
      return;
    }
    std::printf("row\t%s\t%s", row.operation.c_str(), row.against.c_str());
    for (const double value : {row.own.seconds, row.other.seconds, row.own.cpuSeconds, row.other.cpuSeconds,
                               row.own.peakMiB, row.other.peakMiB, row.requests, row.connections}) {
      value < 0 ? std::printf("\t-") : std::printf("\t%.6g", value);
    }
    std::printf("\n");
    std::fflush(stdout);
  }

 private:
  static bool Has(int argc, char** argv, const char* name) {
    for (int index = 1; index < argc; ++index) {
      if (std::strcmp(argv[index], name) == 0) {
        return true;
      }
    }
    return false;
  }

  bool rows_;
  bool quick_;
};

}  // namespace Kelvar::Bench
