#pragma once

#include <vector>

#include "module/reader/ipmi/ReadingContext.h"
#include "module/reader/ipmi/RecordReader.h"
#include "module/reader/ipmi/SdrCache.h"

namespace Kelvar::Reader::Ipmi {

using Records = std::vector<std::vector<u8>>;

/// Get SDR Repository Info, or Get Device SDR Info.
struct RepositoryInfo {
  RepositoryStamp stamp;
  u8 luns = 0x01;  ///< a bit for each logical unit that has records of its own
  bool known = false;
  CommandReply reply;
};
RepositoryInfo ReadInfo(CommandRunner& commands, const RepositoryCommands& repository);

/// The records of one repository, in the order of their chain. What is missing goes to `progress`. Up to `count`
/// records are asked for several at a time.
Records ReadChain(CommandRunner& commands, const RepositoryCommands& repository, FamilyProgress& progress,
                  std::size_t count = 0);

/// The same of all logical units that `info` names, each record once.
Records ReadChains(CommandRunner& commands, const RepositoryCommands& repository, const RepositoryInfo& info,
                   FamilyProgress& progress);

}  // namespace Kelvar::Reader::Ipmi
