#pragma once

#include <string>
#include <vector>

#include <kelvar/Types.h>

#include "tools/kelvar/Config.h"
#include "tools/kelvar/Printer.h"

namespace CLI {
class App;
}

namespace Kelvar::Tool {

/// The command line of a reading.
struct Options {
  std::string target;
  std::vector<std::string> what;
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
};

void Declare(CLI::App& app, Options& options);

/// The highest level of the library's log that is shown.
u32 ShownLogLevel(const Options& options);

/// Whether to colour standard output, which must still be what the program was started with. NO_COLOR is honoured.
Colour ColourOf(const Options& options);

}  // namespace Kelvar::Tool
