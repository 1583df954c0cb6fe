#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <kelvar/Types.h>

#include "tools/kelvar/ConfigFile.h"
#include "tools/kelvar/Formats.h"
#include "tools/kelvar/Reader.h"

namespace CLI {
class App;
}

namespace Kelvar::Tool {

inline InventoryReaderOptions NewestFirst() {
  InventoryReaderOptions options;
  options.newest_first = true;
  return options;
}

/// The command line of a reading.
struct Options {
  std::string target;
  std::vector<std::string> what;
  bool operations = false;  ///< fixed operations are read
  std::string withCim;
  PasswordSource password;
  std::string config;
  std::string format = "table";
  std::string colour = "auto";
  int verbose = 0;
  bool quiet = false;
  bool commonEventId = false;
  bool explain = false;
  double deadlineSeconds = 120;  ///< for one target; 0: none
  std::vector<std::string> columns;
  bool wide = false;
  std::string authentication = "automatic";
  InventoryReaderOptions reader = NewestFirst();
  bool follow = false;            ///< show log entries as they come
  unsigned intervalSeconds = 10;  ///< between two readings then
  std::string severity;           ///< least one of log entries; empty: any
};

/// Options of a reading of the inventory, or where `options` says so of fixed operations.
void Declare(CLI::App& app, Options& options);

/// Options --deadline, --cacert, --pin and --insecure.
void DeclareConnection(CLI::App& app, Options& options);

/// Options --requests, --auth and --no-cache, of the inventory's reader.
void DeclareRequests(CLI::App& app, Options& options);

/// What every command that reads the inventory of targets takes: connection, account and screen.
void DeclareReading(CLI::App& app, Options& options);

/// Options --color, -v and -q.
void DeclareScreen(CLI::App& app, Options& options);

/// The style of documents for standard output, which must still be what the program was started with.
DocumentStyle StyleOf(const Options& options);

/// When a reading is given up that does not end at its deadline: an inventory's reader ends by itself, with what it
/// has. 0: never.
std::chrono::milliseconds TimeLimitOf(const Options& options);

/// What a reading of `what` is made with.
ReadOptions ReadOptionsOf(const Options& options, std::vector<std::string> what);

/// The highest level of the library's log that is shown.
u32 ShownLogLevel(const Options& options);

/// Whether to colour standard output, which must still be what the program was started with. NO_COLOR is honoured.
Colour ColourOf(const Options& options);

}  // namespace Kelvar::Tool
