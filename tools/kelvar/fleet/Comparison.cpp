#include "tools/kelvar/fleet/Comparison.h"

#include <algorithm>
#include <set>

namespace Kelvar::Tool {

namespace {

using Record = StoredReport::Record;
using Records = std::vector<Record>;

std::string NameOf(const Record& record) {
  return ValueOf(record, "Name");
}

/// Drops what both lists hold.
void DropEqual(Records& before, Records& after) {
  const auto known = [&](const Record& record) {
    const auto found = std::find(after.begin(), after.end(), record);
    if (found == after.end()) {
      return false;
    }
    after.erase(found);
    return true;
  };
  before.erase(std::remove_if(before.begin(), before.end(), known), before.end());
}

class PartComparison {
 public:
  PartComparison(const std::string& target, const std::string& what, std::vector<Finding>& findings)
      : target_(target), what_(what), findings_(findings) {}

  /// Records of one name belong together in their order.
  void Compare(Records before, Records after) {
    DropEqual(before, after);
    for (const Record& former : before) {
      const auto now = std::find_if(after.begin(), after.end(),
                                    [&](const Record& record) { return NameOf(record) == NameOf(former); });
      if (now == after.end()) {
        Add(Finding::Kind::Removed, former);
      } else {
        CompareFields(former, *now);
        after.erase(now);
      }
    }
    for (const Record& record : after) {
      Add(Finding::Kind::Added, record);
    }
  }

 private:
  void CompareFields(const Record& former, const Record& now) {
    for (const auto& [field, value] : now) {
      const std::string before = ValueOf(former, field);
      if (before != value) {
        findings_.push_back({Finding::Kind::Changed, target_, what_, NameOf(now), field, before, value});
      }
    }
  }

  void Add(Finding::Kind kind, const Record& record) {
    findings_.push_back({kind, target_, what_, NameOf(record), "", "", ""});
  }

  const std::string& target_;
  const std::string& what_;
  std::vector<Finding>& findings_;
};

}  // namespace

std::vector<Finding> Comparison::Compare(const StoredReport& now) const {
  std::vector<Finding> findings;
  const auto former = former_.find(now.target);
  if (former == former_.end()) {
    findings.push_back({Finding::Kind::Added, now.target, "", "", "", "", ""});
    return findings;
  }
  if (now.parts.empty()) {
    findings.push_back({Finding::Kind::Unread, now.target, "", "", "", "", now.status});
  }
  const std::string complete = NameOf(ExitCode::Complete);
  for (const auto& [what, part] : now.parts) {
    const auto before = former->second.parts.find(what);
    if (part.status != complete) {
      findings.push_back({Finding::Kind::Unread, now.target, what, "", "", "", part.status});
    } else if (before == former->second.parts.end() || before->second.status != complete) {
      findings.push_back({Finding::Kind::Unread, now.target, what, "", "", "", "not in the former run"});
    } else {
      PartComparison(now.target, what, findings).Compare(before->second.records, part.records);
    }
  }
  return findings;
}

std::vector<Finding> Comparison::Removed(const std::vector<ListedTarget>& list, const Shard& shard) const {
  std::set<std::string> names;
  for (const ListedTarget& listed : list) {
    names.insert(listed.name);
  }
  std::vector<Finding> findings;
  for (const auto& [target, report] : former_) {
    try {
      if (names.count(target) == 0 && shard.Holds(ParseTarget(target).info.Host)) {
        findings.push_back({Finding::Kind::Removed, target, "", "", "", "", ""});
      }
    } catch (const ToolError&) {  // a line that was no target then either
    }
  }
  return findings;
}

}  // namespace Kelvar::Tool
