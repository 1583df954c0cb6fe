#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/kelvar/Commands.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// All that was read from one target.
struct Report {
  /// What one word of the command line gave.
  struct Entry {
    const Command* command;
    Outcome outcome;
    ExitCode code;                       ///< of this part alone
    std::string why;                     ///< first failure or gap that the library's log tells; empty when complete
    std::vector<std::string> exchanges;  ///< requests and their answers, when they were asked for
  };

  std::string target;  ///< its address
  Protocol protocol = Protocol::Ipmi;
  std::chrono::system_clock::time_point start{};
  double seconds = 0;  ///< from the first step to the last
  ExitCode code = ExitCode::Complete;
  std::string error;                    ///< why nothing at all could be read; entries are empty then
  std::vector<std::string> connecting;  ///< exchanges before the first entry
  std::vector<Entry> entries;
};

/// What an entry that is not complete lacks and why, as a phrase for people; empty when it is complete.
std::string NoteOf(const Report::Entry& entry);

}  // namespace Kelvar::Tool
