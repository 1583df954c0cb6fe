#include <algorithm>
#include <array>

#include <boost/property_tree/string_path.hpp>

#include "common/json/FieldTable.h"
#include "common/redfish/RedfishLog.h"

namespace Kelvar {

namespace {

using boost::property_tree::ptree_bad_path;

constexpr const char* kArguments = "MessageArgs";
constexpr const char* kHidden = "Oem.Tavrik.Hidden";

/// Reading in place takes memory for the records alone. The bounds keep these within 512 MiB as well.
constexpr JsonLimits kEntriesLimits = {.values = 4'000'000};
constexpr std::size_t kMaxEntries = 500'000;

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
Record& AppendRecord(std::vector<Record>& list, std::size_t index) {
  if (index == kMaxEntries) {
    throw boost::property_tree::ptree_bad_data("log with too many entries", index);
  }
  Record record;
  record.RecordIndex = static_cast<u32>(index);
  list.push_back(std::move(record));
  return list.back();
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
    arguments->ForEach([&](const JsonSlice& argument) -> const char* {
      AppendArgument(record.MessageArguments, argument.Text());
      return nullptr;
    });
  }
}

template <typename Record>
void LoadOrDrop(const auto& entry, bool argumentsRequired, std::size_t index, std::vector<Record>& list) {
  Record& record = AppendRecord(list, index);
  try {
    LoadEntry(entry, argumentsRequired, record);
  } catch (...) {
    list.pop_back();
    throw;
  }
  KELVAR_LOG(4) << "Push back BMCMsg instance to vector";
}

template <typename Record>
void AppendInPlace(const std::string& body, bool argumentsRequired, std::vector<Record>& list) {
  const JsonSlice root = JsonSlice::Root(body);
  const auto members = root.Find("Members");
  if (!members) {
    ThrowMissing("Members");
  }
  JsonMembers entry;
  std::size_t index = 0;
  members->ForEach([&](const JsonSlice& slice) {
    const char* behind = entry.Load(slice);
    if (index == 0) {  // entries of one log are much of a size
      const auto likely = body.size() / static_cast<std::size_t>(behind - slice.Start());
      list.reserve(list.size() + std::min(likely, kMaxEntries));
    }
    LoadOrDrop(entry, argumentsRequired, index++, list);
    return behind;
  });
  NoteNextPage(root.Find(kNextLink).has_value());
}

template <typename Record>
void AppendByTree(const std::string& body, bool argumentsRequired, std::vector<Record>& list) {
  const JsonTree tree(body);
  std::size_t index = 0;
  for (const JsonNode& entry : tree.Root().Child("Members").Children()) {
    LoadOrDrop(entry, argumentsRequired, index++, list);
  }
  NoteNextPage(tree.Root().Find(kNextLink).has_value());
}

}  // namespace

template <typename Record>
void AppendLogEntries(const std::string& body, bool argumentsRequired, std::vector<Record>& list) {
  if (IsPlainJson(body, kEntriesLimits)) {
    AppendInPlace(body, argumentsRequired, list);
  } else {  // the tree reads it after all, or tells what is wrong with it
    AppendByTree(body, argumentsRequired, list);
  }
}

template void AppendLogEntries(const std::string&, bool, std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>&);
template void AppendLogEntries(const std::string&, bool, std::vector<MAINTLOGREDFISHDATA>&);

}  // namespace Kelvar
