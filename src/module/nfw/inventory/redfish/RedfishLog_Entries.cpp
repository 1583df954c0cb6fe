#include <algorithm>
#include <array>

#include <boost/property_tree/string_path.hpp>

#include "common/diagnostics/ConnectionLimits.h"
#include "common/json/FieldTable.h"
#include "module/nfw/inventory/redfish/RedfishLog.h"

namespace Kelvar {

namespace {

using boost::property_tree::ptree_bad_path;

constexpr const char* kArguments = "MessageArgs";
constexpr const char* kHidden = "Oem.Tavrik.Hidden";

/// Reading in place takes memory for the records alone, but for the members of one entry.
constexpr JsonLimits kEntriesLimits = {.values = 4'000'000};

template <typename Record>
constexpr std::array<TreeField<Record>, 9> kEntryFields = {{
    {"Oem.Tavrik.Source", &Record::Source},
    {"Oem.Tavrik.EventSequenceNumber", &Record::EventSequenceNumber},
    {"Created", &Record::CreationTimeStamp},
    {"Oem.Tavrik.CommonEventID", &Record::EventID},
    {"Name", &Record::ElementName},
    {"Message", &Record::Message},
    {"Oem.Tavrik.TavrikMessageID", &Record::MessageID},
    {"Severity", &Record::PerceivedSeverity},
    {"Oem.Tavrik.AuxiliaryData", &Record::AuxiliaryData},
}};

void AppendArgument(std::string& joined, const std::string& argument) {
  if (!argument.empty()) {
    joined += (joined.empty() ? "" : "^") + argument;
  }
}

[[noreturn]] void ThrowMissing(const char* name) {
  throw ptree_bad_path("No such node", boost::property_tree::path(name));
}

template <typename Record>
void LoadEntry(const JsonNode& entry, bool argumentsRequired, Record& record) {
  LoadFields(entry, kEntryFields<Record>, record);
  record.Hidden = entry.Text(kHidden, kUnknown) != "false";
  const auto arguments = entry.Find(kArguments);
  if (!arguments && argumentsRequired) {
    ThrowMissing(kArguments);
  }
  for (const JsonNode& argument : arguments ? arguments->Children() : std::vector<JsonNode>()) {
    AppendArgument(record.MessageArguments, argument.Value());
  }
}

template <typename Record>
void LoadEntry(const JsonMembers& entry, bool argumentsRequired, Record& record) {
  LoadFields(entry, kEntryFields<Record>, record);
  const auto hidden = entry.Find(kHidden);
  record.Hidden = !hidden || hidden->Text() != "false";
  const auto arguments = entry.Find(kArguments);
  if (!arguments && argumentsRequired) {
    ThrowMissing(kArguments);
  }
  if (arguments) {
    arguments->ForEach([&](const JsonSlice& argument, std::string_view) -> const char* {
      AppendArgument(record.MessageArguments, argument.Text());
      return nullptr;
    });
  }
}

struct EntryRules {
  bool argumentsRequired;
  std::size_t maxEntries;
};

bool IsLink(const JsonNode& entry) {
  return entry.Find(kLink) && entry.Children().size() == 1;
}

bool IsLink(const JsonMembers& entry) {
  return entry.Count() == 1 && entry.Has(kLink);
}

template <typename Record>
void AppendEntry(const auto& entry, const EntryRules& rules, std::size_t index, std::vector<Record>& list) {
  if (index == rules.maxEntries) {
    throw boost::property_tree::ptree_bad_data("log with too many entries", index);
  }
  if (index == 0) {  // members are all of a kind
    NoteLinks(IsLink(entry) ? 1 : 0);
  }
  Record record;
  record.RecordIndex = static_cast<u32>(index);
  LoadEntry(entry, rules.argumentsRequired, record);
  list.push_back(std::move(record));
  KELVAR_LOG(4) << "Push back BMCMsg instance to vector";
}

/// Returns the position after the members.
template <typename Record>
const char* AppendMembers(const JsonSlice& members, std::size_t bodySize, const EntryRules& rules,
                          std::vector<Record>& list) {
  JsonMembers entry;
  std::size_t index = 0;
  return members.ForEach([&](const JsonSlice& slice, std::string_view) {
    const char* after = entry.Load(slice);
    if (index == 0) {  // entries of one log are much of a size
      const auto likely = bodySize / static_cast<std::size_t>(after - slice.Start());
      list.reserve(list.size() + std::min(likely, rules.maxEntries));
    }
    AppendEntry(entry, rules, index++, list);
    return after;
  });
}

/// One walk over the body, which may be large.
template <typename Record>
void AppendInPlace(const std::string& body, const EntryRules& rules, std::vector<Record>& list) {
  bool hasMembers = false;
  bool hasNextPage = false;
  const JsonSlice root = JsonSlice::Root(body);
  const auto visit = [&](const JsonSlice& value, std::string_view name) -> const char* {
    hasNextPage = hasNextPage || name == kNextLink;
    if (hasMembers || name != "Members") {
      return nullptr;
    }
    hasMembers = true;
    return AppendMembers(value, body.size(), rules, list);
  };
  if (root.IsObject()) {
    root.ForEach(visit);
  }
  if (!hasMembers) {
    ThrowMissing("Members");
  }
  NoteNextPage(hasNextPage);
}

template <typename Record>
void AppendByTree(const std::string& body, const EntryRules& rules, std::vector<Record>& list) {
  const JsonTree tree = JsonTree::ByParser(body);
  std::size_t index = 0;
  for (const JsonNode& entry : tree.Root().Child("Members").Children()) {
    AppendEntry(entry, rules, index++, list);
  }
  NoteNextPage(tree.Root().Find(kNextLink).has_value());
}

}  // namespace

template <typename Record>
void AppendLogEntries(const std::string& body, bool argumentsRequired, std::vector<Record>& list,
                      std::size_t maxEntries) {
  const EntryRules rules{argumentsRequired, RecordLimit(maxEntries)};
  if (IsPlainJson(body, kEntriesLimits)) {
    AppendInPlace(body, rules, list);
  } else {  // the tree reads it after all, or tells what is wrong with it
    AppendByTree(body, rules, list);
  }
}

template void AppendLogEntries(const std::string&, bool, std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>&, std::size_t);
template void AppendLogEntries(const std::string&, bool, std::vector<MAINTLOGREDFISHDATA>&, std::size_t);

}  // namespace Kelvar
