#include "tools/kelvar/fleet/Comparison.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

namespace Kelvar::Tool {

namespace {

using Record = StoredReport::Record;
using Records = std::vector<Record>;

std::string_view NameOf(const Record& record) {
  const auto found = std::find_if(record.begin(), record.end(),
                                  [](const auto& field) { return field.first == "id" || field.first == "Name"; });
  return found == record.end() ? std::string_view() : found->second;
}

struct ByContent {
  bool operator()(const Record* one, const Record* other) const { return *one < *other; }
};

struct ByName {
  bool operator()(const Record* one, const Record* other) const { return NameOf(*one) < NameOf(*other); }
};

using Unmatched = std::vector<const Record*>;

Unmatched All(const Records& records) {
  Unmatched all;
  all.reserve(records.size());
  for (const Record& record : records) {
    all.push_back(&record);
  }
  return all;
}

void DropNull(Unmatched& records) {
  records.erase(std::remove(records.begin(), records.end(), nullptr), records.end());
}

/// For each record of `before` the first of `after` that is the same by `Less` and not matched yet, else null. What is
/// matched leaves `after`.
template <class Less>
std::vector<const Record*> Match(const Unmatched& before, Unmatched& after) {
  std::multimap<const Record*, std::size_t, Less> index;
  for (std::size_t position = 0; position < after.size(); ++position) {
    index.emplace(after[position], position);
  }
  std::vector<const Record*> matches(before.size());
  for (std::size_t position = 0; position < before.size(); ++position) {
    const auto found = index.lower_bound(before[position]);
    if (found != index.end() && !Less()(before[position], found->first)) {
      matches[position] = std::exchange(after[found->second], nullptr);
      index.erase(found);
    }
  }
  DropNull(after);
  return matches;
}

/// Without the fields that depend on what else was read: host names of managers, and components of firmware.
Records WithCertainFields(Records records) {
  for (Record& record : records) {
    const bool manager = ValueOf(record, "kind") == "manager";
    std::erase_if(record, [manager](const auto& one) {
      return one.first == "component" || (manager && one.first == "host_name");
    });
  }
  return records;
}

class PartComparison {
 public:
  PartComparison(const std::string& target, const std::string& what, std::vector<Difference>& differences)
      : target_(target), what_(what), differences_(differences) {}

  /// Records of one name belong together in their order.
  void Compare(const Records& allBefore, const Records& allAfter) {
    Unmatched before = All(allBefore);
    Unmatched after = All(allAfter);
    const auto equal = Match<ByContent>(before, after);
    for (std::size_t position = 0; position < before.size(); ++position) {
      before[position] = equal[position] == nullptr ? before[position] : nullptr;
    }
    DropNull(before);
    const auto sameName = Match<ByName>(before, after);
    for (std::size_t position = 0; position < before.size(); ++position) {
      if (sameName[position] == nullptr) {
        Add(Difference::Kind::Removed, *before[position]);
      } else {
        CompareFields(*before[position], *sameName[position]);
      }
    }
    for (const Record* record : after) {
      Add(Difference::Kind::Added, *record);
    }
  }

 private:
  void CompareFields(const Record& former, const Record& now) {
    std::map<std::string_view, std::string_view> left(former.begin(), former.end());
    std::set<std::string_view> compared;
    for (const auto& [field, value] : now) {
      if (compared.insert(field).second) {  // of a field that is there twice the first counts
        const auto before = left.find(field);
        AddChange(now, field, before == left.end() ? std::string_view() : before->second, value);
        left.erase(field);
      }
    }
    for (const auto& [field, value] : former) {
      if (left.erase(field) > 0) {
        AddChange(now, field, value, "");
      }
    }
  }

  void AddChange(const Record& record, std::string_view field, std::string_view before, std::string_view after) {
    if (before != after) {
      differences_.push_back({Difference::Kind::Changed, target_, what_, std::string(NameOf(record)),
                              std::string(field), std::string(before), std::string(after)});
    }
  }

  void Add(Difference::Kind kind, const Record& record) {
    differences_.push_back({kind, target_, what_, std::string(NameOf(record)), "", "", ""});
  }

  const std::string& target_;
  const std::string& what_;
  std::vector<Difference>& differences_;
};

}  // namespace

std::vector<Difference> Comparison::Compare(const StoredReport& now) const {
  std::vector<Difference> differences;
  const auto former = former_.find(now.target);
  if (former == former_.end()) {
    differences.push_back({Difference::Kind::Added, now.target, "", "", "", "", ""});
    return differences;
  }
  if (now.parts.empty()) {
    differences.push_back({Difference::Kind::Unread, now.target, "", "", "", "", now.status});
  }
  const std::string complete = NameOf(ExitCode::Complete);
  for (const auto& [what, part] : now.parts) {
    const auto before = former->second.parts.find(what);
    if (part.status != complete) {
      differences.push_back({Difference::Kind::Unread, now.target, what, "", "", "", part.status});
    } else if (before == former->second.parts.end() || before->second.status != complete) {
      differences.push_back({Difference::Kind::Unread, now.target, what, "", "", "", "not in the earlier run"});
    } else if (before->second.allFields && part.allFields) {
      PartComparison(now.target, what, differences).Compare(before->second.records, part.records);
    } else {
      PartComparison(now.target, what, differences)
          .Compare(WithCertainFields(before->second.records), WithCertainFields(part.records));
    }
  }
  return differences;
}

std::vector<Difference> Comparison::Removed(const std::vector<ListedTarget>& list, const Shard& shard) const {
  std::set<std::string> names;
  for (const ListedTarget& listed : list) {
    names.insert(listed.name);
  }
  std::vector<Difference> differences;
  for (const auto& [target, report] : former_) {
    try {
      if (names.count(target) == 0 && shard.Holds(ParseTarget(target).info.Host)) {
        differences.push_back({Difference::Kind::Removed, target, "", "", "", "", ""});
      }
    } catch (const ToolError&) {  // a line that was not a target then either
    }
  }
  return differences;
}

}  // namespace Kelvar::Tool
