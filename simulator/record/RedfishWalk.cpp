#include "simulator/record/RedfishWalk.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <deque>
#include <set>
#include <stdexcept>
#include <vector>

#include <rapidjson/reader.h>

#include "simulator/http/HttpMessage.h"
#include "simulator/redfish/JsonBytes.h"

namespace Kelvar::Simulator {

namespace {

constexpr std::string_view kRoot = "/redfish/v1";
constexpr std::size_t kMostBytesOfPage = 16'777'216;
constexpr std::size_t kMostBytes = 268'435'456;
constexpr std::chrono::minutes kMostTime{20};

bool IsPlainSegment(std::string_view segment) {
  constexpr std::size_t kLongest = 200;
  const bool isControl = std::any_of(segment.begin(), segment.end(), [](unsigned char c) { return c < 0x20; });
  const bool isDots = segment.find_first_not_of('.') == std::string_view::npos;
  // what the folder of a machine gives a meaning of its own
  const bool isReserved = segment == "index" || segment.starts_with("index.") || segment == "members.json";
  return !isDots && !isControl && !isReserved && segment.size() <= kLongest &&
         segment.find('\\') == std::string_view::npos;
}

/// Gathers where a page leads to, unless it is nested without reason. Members that a collection holds as whole
/// objects are not asked for again.
class ReferenceReader : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ReferenceReader> {
 public:
  bool StartObject() {
    objects_.emplace_back();
    return ++depth_ <= kDeepest;
  }
  bool StartArray() { return ++depth_ <= kDeepest; }
  bool EndArray(rapidjson::SizeType) {
    --depth_;
    return true;
  }
  bool Key(const char* text, rapidjson::SizeType length, bool) {
    objects_.back().key.assign(text, length);
    return true;
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    if (!objects_.empty() && objects_.back().key == "@odata.id") {
      objects_.back().id.assign(text, length);
    }
    return true;
  }
  bool EndObject(rapidjson::SizeType members) {
    const bool isMember = objects_.size() == 2 && objects_.front().key == "Members";
    if (!objects_.back().id.empty() && !(isMember && members > 1)) {
      references.push_back(objects_.back().id);
    }
    objects_.pop_back();
    --depth_;
    return true;
  }

  std::vector<std::string> references;

 private:
  static constexpr std::size_t kDeepest = 64;

  struct Object {
    std::string key;
    std::string id;
  };
  std::vector<Object> objects_;
  std::size_t depth_ = 0;
};

std::optional<std::vector<std::string>> ReferencesOf(const std::string& page) {
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
  ReferenceReader handler;
  rapidjson::Reader reader;
  rapidjson::StringStream stream(page.c_str());
  const bool isObject = page.find_first_not_of(" \t\r\n") == page.find('{') && page.find('{') != std::string::npos;
  if (!isObject || reader.Parse<kFlags>(stream, handler).IsError() || stream.Tell() < page.find_last_of('}')) {
    return std::nullopt;
  }
  return std::move(handler.references);
}

class Walk {
 public:
  Walk(HttpFetch& fetch, std::size_t mostPages) : fetch_(fetch), mostPages_(mostPages) {}

  WalkResult Run() {
    Enqueue(kRoot);
    while (!waiting_.empty() && !IsOver()) {
      const std::string target = std::move(waiting_.front());
      waiting_.pop_front();
      Record(target);
    }
    if (result_.pages.find(std::string(kRoot)) == result_.pages.end()) {
      throw std::runtime_error("no service root: " + why_);
    }
    result_.leftOut += waiting_.size();
    RecordMetadata();
    return std::move(result_);
  }

 private:
  bool IsOver() const {
    const bool isLate = std::chrono::steady_clock::now() - start_ > kMostTime;
    return isLate || requests_ >= mostPages_ || bytes_ >= kMostBytes;
  }

  void Enqueue(std::string_view reference) {
    constexpr std::size_t kMostWaiting = 100'000;
    const auto path = MirroredPath(reference);
    if (!path || known_.size() >= kMostWaiting) {
      ++result_.leftOut;
      return;
    }
    if (known_.insert(*path).second) {
      waiting_.emplace_back(reference.substr(0, reference.find_first_of("#?")));
    }
  }

  /// The body of a page; nothing when there is none that is JSON.
  std::optional<std::string> Get(const std::string& target) {
    ++requests_;
    auto page = fetch_.Get(target, std::min(kMostBytesOfPage, kMostBytes - std::min(bytes_, kMostBytes)));
    why_ = page ? "HTTP status " + std::to_string(page->status) : fetch_.Failure();
    if (!page || page->status != 200) {
      return std::nullopt;
    }
    bytes_ += page->body.size();
    why_ = "its response is not a JSON object";
    return std::move(page->body);
  }

  void Record(const std::string& target) {
    auto page = Get(target);
    auto references = page ? ReferencesOf(*page) : std::nullopt;
    if (!references) {
      ++result_.leftOut;
      return;
    }
    for (const std::string& reference : *references) {
      Enqueue(reference);
    }
    AddNextPages(*page);
    result_.pages[*MirroredPath(target)] = std::move(*page);
  }

  /// Adds the members of its next pages to a collection.
  void AddNextPages(std::string& page) {
    std::set<std::string> visited;
    std::string members;
    std::string_view last = page;
    std::string next;
    for (;;) {
      const auto link = JsonText::String(JsonText::Member(last, "Members@odata.nextLink").value_or(""));
      const auto path = link ? MirroredPath(*link) : std::nullopt;
      if (!path || !visited.insert(std::string(*link)).second || IsOver()) {
        break;
      }
      auto body = Get(std::string(*link));
      const auto references = body ? ReferencesOf(*body) : std::nullopt;
      if (!references) {
        ++result_.leftOut;
        break;
      }
      for (const std::string& reference : *references) {
        Enqueue(reference);
      }
      next = std::move(*body);
      last = next;
      const std::string_view array = JsonText::Member(last, "Members").value_or("[]");
      for (const std::string_view member : JsonText::Elements(array)) {
        members.append(",\n").append(member);
      }
    }
    Merge(page, members);
  }

  static void Merge(std::string& page, const std::string& members) {
    const auto own = JsonText::Member(page, "Members");
    if (members.empty() || !own || !own->ends_with(']')) {
      return;
    }
    const bool none = JsonText::Elements(*own).empty();
    const std::string all =
        (none ? "[" : std::string(own->substr(0, own->size() - 1))) + members.substr(none ? 1 : 0) + ']';
    page = JsonText::Replace(page, *own, all);
    if (const auto link = JsonText::Member(page, "Members@odata.nextLink")) {
      page = JsonText::Replace(page, *link, "null");
    }
  }

  /// Not linked from anywhere; for those who ask for it.
  void RecordMetadata() {
    const auto odata = Get(std::string(kRoot) + "/odata");
    if (odata && ReferencesOf(*odata)) {
      result_.pages[std::string(kRoot) + "/odata"] = *odata;
    }
  }

  HttpFetch& fetch_;
  const std::size_t mostPages_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  WalkResult result_;
  std::set<std::string> known_;
  std::deque<std::string> waiting_;
  std::size_t requests_ = 0;
  std::size_t bytes_ = 0;
  std::string why_;
};

}  // namespace

std::optional<std::string> MirroredPath(std::string_view reference) {
  constexpr std::size_t kLongest = 1024;
  constexpr std::size_t kDeepest = 16;
  std::string path = PercentDecode(reference.substr(0, reference.find_first_of("#?")));
  while (path.ends_with('/')) {
    path.pop_back();
  }
  const bool isBelow = path == "/redfish" || path.starts_with("/redfish/");
  if (!isBelow || path.size() > kLongest) {
    return std::nullopt;
  }
  std::size_t segments = 0;
  for (std::size_t start = 1; start <= path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    if (++segments > kDeepest || !IsPlainSegment(std::string_view(path).substr(start, end - start))) {
      return std::nullopt;
    }
    start = end + 1;
  }
  return path;
}

WalkResult WalkRedfish(HttpFetch& fetch, std::size_t mostPages) {
  return Walk(fetch, mostPages).Run();
}

}  // namespace Kelvar::Simulator
