#include "module/reader/redfish/MessageTexts.h"

#include <algorithm>
#include <set>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "module/reader/redfish/Link.h"
#include "module/reader/redfish/Values.h"
#include "module/reader/redfish/Walk.h"

namespace Kelvar::Reader {

namespace {

constexpr std::size_t kMostRegistries = 16;
constexpr std::size_t kMostFiles = 32;  // at a time, of which each names one registry
constexpr std::size_t kMostListed = 1000;
constexpr int kMostPages = 4;
constexpr std::size_t kMostBytes = std::size_t{16} << 20;  // of all registries
constexpr std::size_t kMostText = 4096;                    // of a message

bool IsNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// "Arden.2.1.0.FanFailed": registry, version and key; a registry's own name has no key.
struct MessageName {
  std::string registry;  ///< in lower case
  std::string version;   ///< its first two numbers
  std::string key;
};

MessageName Split(std::string_view text) {
  MessageName name;
  int numbers = 0;
  for (std::size_t at = 0; at <= text.size();) {
    const auto end = std::min(text.find('.', at), text.size());
    const std::string_view part = text.substr(at, end - at);
    if (at == 0) {
      name.registry = Lower(part);
    } else if (name.key.empty() && IsNumber(part)) {
      name.version += numbers == 0 ? std::string(part) : numbers == 1 ? '.' + std::string(part) : "";
      ++numbers;
    } else {
      name.key += (name.key.empty() ? "" : ".") + std::string(part);
    }
    at = end + 1;
  }
  return name;
}

/// How well a registry serves for a version: later minor versions hold the messages of earlier ones.
int FitOf(const std::string& needed, const std::string& offered) {
  if (needed == offered) {
    return 3;
  }
  const bool sameMajor = needed.substr(0, needed.find('.')) == offered.substr(0, offered.find('.'));
  return sameMajor ? 2 : needed.empty() || offered.empty() ? 1 : 0;
}

/// The message with its arguments in the places of "%1" and so on; a place without one stays as it is.
std::string WithArguments(const std::string& message, const std::vector<std::string>& arguments) {
  std::string text;
  for (std::size_t i = 0; i < message.size() && text.size() <= kMostText; ++i) {
    const bool isPlace = message[i] == '%' && i + 1 < message.size() && message[i + 1] >= '1' && message[i + 1] <= '9';
    const auto number = isPlace ? static_cast<std::size_t>(message[i + 1] - '0') : 0;
    if (number == 0 || number > arguments.size()) {
      text += message[i];
      continue;
    }
    text += arguments[number - 1];
    ++i;
  }
  return text.size() <= kMostText ? text : std::string();
}

void FillMessage(Model::LogEntry& entry, const std::string& text) {
  std::string filled = WithArguments(text, entry.arguments);
  if (!filled.empty()) {
    entry.message = std::move(filled);
  }
}

/// Where the English text is, or that in the language that is named first.
std::string PathOf(JsonValue file, std::string_view origin) {
  std::string first;
  for (const JsonValue location : FirstOf(file["Location"], kMostDetails)) {
    const std::string uri = LinkAt(location, "Uri");
    const auto link = ParseLink(uri.empty() ? TextAt(location, "Uri/extref") : uri, origin);
    const std::string language = Lower(TextAt(location, "Language"));
    if (link && (language.rfind("en", 0) == 0 || language == "default")) {
      return link->path;
    }
    first = link && first.empty() ? link->path : first;
  }
  return first;
}

void NoteMissing(const std::string& path, const std::string& why) {
  DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::NotOffered, path, "no texts of messages: " + why);
}

}  // namespace

void MessageTexts::Fill(std::vector<Model::LogEntry>& entries) {
  Collect(entries);
  if (list_.empty() || registries_.empty()) {
    return;
  }
  ReadList(list_, 0);
  fetcher_.Run();
  for (const bool all : {false, true}) {
    ReadFiles(all);
    fetcher_.Run();
  }
  std::set<std::string> paths;
  for (const auto& [name, registry] : registries_) {
    if (!registry.path.empty() && paths.insert(registry.path).second) {
      ReadRegistry(registry.path);
    }
  }
  fetcher_.Run();
}

void MessageTexts::Collect(std::vector<Model::LogEntry>& entries) {
  for (Model::LogEntry& entry : entries) {
    const bool hasText = !entry.message.empty() && entry.message != entry.message_id;
    const MessageName name = hasText ? MessageName() : Split(entry.message_id);
    const Name registry(name.registry, name.version);
    if (name.key.empty() || (registries_.size() >= kMostRegistries && registries_.count(registry) == 0)) {
      continue;
    }
    registries_[registry].entries[name.key].push_back(&entry);
  }
}

void MessageTexts::ReadList(const std::string& path, int page) {
  fetcher_.Get(path, [this, path, page](Reply& reply) {
    const auto document = reply.IsOk() ? JsonDocument::ReadLeniently(std::move(reply.body)) : std::nullopt;
    document ? TakeList(document->Root(), page) : NoteMissing(path, reply.IsOk() ? "no JSON" : reply.error);
  });
}

void MessageTexts::TakeList(JsonValue list, int page) {
  for (const JsonValue member : FirstOf(list["Members"], kMostListed)) {
    const auto link = ParseLink(LinkAt(member, "@odata.id"), fetcher_.Origin());
    if (member["Location"].IsArray()) {
      TakeFile(member);
    } else if (link && files_.size() < kMostListed) {
      files_.push_back(link->path);
    }
  }
  const auto next = ParseLink(LinkAt(list, "Members@odata.nextLink"), fetcher_.Origin());
  if (next && page + 1 < kMostPages) {
    ReadList(next->path, page + 1);
  }
}

/// Asks first for those that are named like a registry that is needed, then for the others where one is still missing.
void MessageTexts::ReadFiles(bool all) {
  std::size_t count = 0;
  for (std::string& file : files_) {
    const std::string name = Lower(LastSegment(file));
    const bool asked = std::any_of(registries_.begin(), registries_.end(), [&](const auto& entry) {
      return entry.second.path.empty() && (all || name.rfind(entry.first.first, 0) == 0);
    });
    if (file.empty() || !asked || ++count > kMostFiles) {
      continue;
    }
    fetcher_.Get(std::exchange(file, {}), [this](Reply& reply) {
      const auto document = reply.IsOk() ? JsonDocument::ReadLeniently(std::move(reply.body)) : std::nullopt;
      if (document) {
        TakeFile(document->Root());
      }
    });
  }
}

void MessageTexts::TakeFile(JsonValue file) {
  const std::string told = TextAt(file, "Registry");
  const MessageName offered = Split(told.empty() ? TextAt(file, "Id") : told);
  const std::string path = PathOf(file, fetcher_.Origin());
  for (auto& [name, registry] : registries_) {
    const int fit = name.first == offered.registry && !path.empty() ? FitOf(name.second, offered.version) : 0;
    if (fit > registry.fit) {
      registry.fit = fit;
      registry.path = path;
    }
  }
}

void MessageTexts::ReadRegistry(const std::string& path) {
  fetcher_.Get(path, [this, path](Reply& reply) {
    bytes_ += reply.body.size();
    if (!reply.IsOk() || bytes_ > kMostBytes) {
      NoteMissing(path, reply.IsOk() ? "the registries are too large" : reply.error);
      return;
    }
    const auto document = JsonDocument::ReadLeniently(std::move(reply.body));
    document ? TakeMessages(path, document->Root()["Messages"]) : NoteMissing(path, "no JSON");
  });
}

void MessageTexts::TakeMessages(const std::string& path, JsonValue messages) {
  for (const auto& [key, message] : messages.Members()) {
    for (auto& [name, registry] : registries_) {
      const auto found = registry.path == path ? registry.entries.find(std::string(key)) : registry.entries.end();
      if (found == registry.entries.end()) {
        continue;
      }
      const std::string text = MessageAt(message, "Message");
      for (Model::LogEntry* const entry : std::exchange(found->second, {})) {
        FillMessage(*entry, text);
      }
    }
  }
}

}  // namespace Kelvar::Reader
