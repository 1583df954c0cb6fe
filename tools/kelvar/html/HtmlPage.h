#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tools/kelvar/Report.h"

namespace Kelvar::Tool {

/// A page about one or many targets that needs nothing but itself: no outside resources, and a script that only filters
/// logs. Its pieces are written one behind the other, so that it is never whole in memory.
class HtmlPage {
 public:
  /// Up to the first target.
  static std::string Head();

  /// One target. Any thread.
  std::string SectionOf(const Report& report);

  /// Behind the last target: over all of them, what the style sheet shows on top.
  std::string Foot();

 private:
  /// What the overview and the matrix need of a target.
  struct Digest {
    std::string target;
    ExitCode code;
    Record firmware;
  };

  using Digests = std::map<std::size_t, Digest>;  ///< by the number in the section's anchor

  std::vector<const Digests::value_type*> RowsByTarget() const;
  std::string Overview() const;
  std::string FirmwareMatrix() const;

  std::mutex mutex_;
  Digests digests_;
  std::size_t sections_ = 0;
};

/// A page about one target.
std::string HtmlText(const Report& report);

}  // namespace Kelvar::Tool
