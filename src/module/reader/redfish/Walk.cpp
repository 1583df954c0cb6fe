#include "module/reader/redfish/Walk.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "common/text/Escape.h"
#include "module/reader/redfish/Values.h"

namespace Kelvar::Reader {

namespace {

constexpr int kMaxExpandFailures = 3;
constexpr int kMaxBarrenPages = 3;
constexpr int kMaxExpandIgnored = 8;  // costs nothing: the response is the collection all the same

/// The value that a fragment names: "/Fans/0".
JsonValue Resolve(JsonValue root, std::string_view fragment) {
  while (root && !fragment.empty()) {
    fragment.remove_prefix(1);
    const auto slash = fragment.find('/');
    const std::string name(fragment.substr(0, slash));
    if (root.IsArray()) {
      const auto elements = root.Elements();
      const bool number = !name.empty() && name.size() < 7 && name.find_first_not_of("0123456789") == std::string::npos;
      const std::size_t index = number ? std::stoul(name) : elements.size();
      root = index < elements.size() ? elements[index] : JsonValue();
    } else {
      root = root[name.c_str()];
    }
    fragment = slash == std::string_view::npos ? std::string_view() : fragment.substr(slash);
  }
  return root;
}

/// Some services answer with an error and a good status.
bool IsError(JsonValue value) {
  return value["error"].IsObject() && !value["@odata.type"];
}

bool IsResource(JsonValue value) {
  return value.IsObject() && !IsError(value) &&
         (value["@odata.id"] || value["@odata.type"] || value["Id"] || value["Members"]);
}

/// Of a resource without a list of members: whether it is a collection all the same.
bool IsCollection(JsonValue value) {
  return TextAt(value, "@odata.type").ends_with("Collection") || value["Members"] || value["Members@odata.count"];
}

/// Some services leave an empty list of members out, or write null or an empty object.
bool IsEmpty(JsonValue collection) {
  const JsonValue members = collection["Members"];
  const bool none = !members || members.IsNull() || (members.IsObject() && members.MemberCount() == 0);
  return none && !PositiveAt(collection, "Members@odata.count");
}

/// Of a log that is not expanded: some services list its entries as they are, some list part of what they hold.
bool IsWholeEntry(JsonValue value) {
  const auto properties = {"Created",  "EventTimestamp",    "Message",           "MessageId",
                           "Severity", "AdditionalDataURI", "DiagnosticDataType"};
  return std::count_if(properties.begin(), properties.end(), [&](const char* name) { return bool(value[name]); }) >= 2;
}

/// Whether the resource itself is given, not just a link. Members of a collection that is not expanded
/// can be summaries.
bool IsInline(const Node& from, JsonValue target, Role role) {
  if (from.collection && role == Role::LogEntry) {
    return IsWholeEntry(target);
  }
  return (!from.collection || from.expanded || from.ofExpanded) && IsWholeResource(target);
}

/// Of a property: whether it is more than what names a resource.
bool IsContent(std::string_view property) {
  constexpr std::array<std::string_view, 7> kNames = {"Id",      "Name", "Description", "MemberId",
                                                      "Actions", "Oem",  "Links"};
  return property.find('@') == std::string_view::npos &&
         std::find(kNames.begin(), kNames.end(), property) == kNames.end();
}

/// What some services list for a member that they could not expand.
bool IsEmptyMember(JsonValue member) {
  return LinkAt(member, "").empty() && !IsWholeResource(member);
}

std::string WithoutQuery(const std::string& path) {
  return path.substr(0, path.find('?'));
}

}  // namespace

bool IsWholeResource(JsonValue value) {
  if (value["error"] || value["@Message.ExtendedInfo"]) {
    return false;
  }
  const auto members = value.Members();
  if (value["@odata.type"] && value["Id"]) {
    return std::any_of(members.begin(), members.end(), [](const auto& member) { return IsContent(member.first); });
  }
  const auto own = std::count_if(members.begin(), members.end(),
                                 [](const auto& member) { return member.first.find('@') == std::string_view::npos; });
  return own >= 3 && (value["Id"] || value["Name"] || value["MemberId"]);
}

std::string NextPageOf(JsonValue collection) {
  std::string next = LinkAt(collection, "Members@odata.nextLink");
  return next.empty() ? LinkAt(collection, "@odata.nextLink") : next;
}

std::string KeyFor(const std::string& path, const std::string& fragment) {
  return fragment.empty() ? KeyOf(path) : KeyOf(path) + '#' + Lower(fragment);
}

bool IsBare(JsonValue value) {
  const auto members = value.Members();
  return std::all_of(members.begin(), members.end(), [](const auto& member) {
    return member.first.find('@') != std::string_view::npos || member.first == "MemberId" || member.second.IsNull();
  });
}

Walk::Walk(const ReadRequest& request, Fetcher& fetcher, Visit visit)
    : request_(request), fetcher_(fetcher), visit_(std::move(visit)) {}

void Walk::UseRoot(const char* path, JsonValue root) {
  Node node;
  node.path = path;  // to which links may lead back
  Enter(std::move(node));
  const JsonValue expand = At(root, "ProtocolFeaturesSupported/ExpandQuery");
  if (BoolAt(expand, "Levels").value_or(false) && BoolAt(expand, "NoLinks").value_or(true)) {
    expandQuery_ = "?$expand=.($levels=1)";
  } else if (BoolAt(expand, "NoLinks").value_or(false)) {
    expandQuery_ = "?$expand=.";
  } else if (BoolAt(expand, "ExpandAll").value_or(false)) {
    expandQuery_ = BoolAt(expand, "Levels").value_or(false) ? "?$expand=*($levels=1)" : "?$expand=*";
  }
}

bool Walk::HasVisited(std::string_view path) const {
  return visited_.count(KeyOf(path)) != 0;
}

Node* Walk::Enter(Node node) {
  const std::string key = KeyFor(node.path, node.fragment);
  const auto found = visited_.find(key);
  if (found != visited_.end()) {
    Node& known = *found->second;
    known.families |= node.families;
    if (known.path != node.path && known.otherPaths.size() < 4) {
      known.otherPaths.push_back(node.path);
      if (known.missing) {
        Reply missing;
        missing.status = 404;
        known.missing = !Refetch(known, missing);
      }
    }
    return nullptr;
  }
  if (nodes_.size() >= request_.options.resource_limit) {
    NoteLimit(node.families, "more than " + std::to_string(request_.options.resource_limit) + " resources");
    return nullptr;
  }
  nodes_.push_back(std::move(node));
  visited_.emplace(key, &nodes_.back());
  return &nodes_.back();
}

void Walk::NoteLimit(FamilyMask families, const std::string& why) {
  if (!std::exchange(limitReached_, true)) {
    DiagnosticsRecorder::AddGap(GapKind::Truncated, FailureCause::TooLarge, fetcher_.Origin(), why);
    KELVAR_LOG(2) << "The service has " << why << "; the rest is not read";
  }
  for (std::size_t i = 0; i < outcomes_.size(); ++i) {
    if ((families >> i & 1) != 0 && outcomes_[i].failures++ == 0) {
      outcomes_[i].cause = FailureCause::TooLarge;
      outcomes_[i].first = why;
    }
  }
}

void Walk::Follow(const Node& from, JsonValue target, Role role, bool collection, FamilyMask families) {
  if (!target.IsArray()) {
    FollowOne(from, target, role, collection, families, 0);
    return;
  }
  std::size_t position = 0;
  for (const JsonValue element : target.Elements()) {
    FollowOne(from, element, role, false, families, position++);
  }
}

void Walk::FollowOne(const Node& from, JsonValue target, Role role, bool collection, FamilyMask families,
                     std::size_t position) {
  const std::string text = LinkAt(target, "");
  if (text.empty()) {
    return;
  }
  auto link = ParseLink(text, Origin());
  if (!link) {
    NoteAway(from, text, families);
    return;
  }
  Node node = NodeAt(std::move(*link), from, role, families, position);
  const bool ownPart = !node.fragment.empty() && !IsBare(target) && KeyOf(node.path) == KeyOf(WithoutQuery(from.path));
  const bool isInline = ownPart || IsInline(from, target, role) || (target["Members"].IsArray() && collection);
  if (!node.fragment.empty() && !ownPart && HasVisited(node.path)) {
    return;  // it is part of a resource that is read as a whole
  }
  if (!node.fragment.empty() && !isInline) {
    FollowLater(from, text, role, families, position);
    return;
  }
  node.collection = collection;
  node.member = !collection && from.collection;
  Node* const entered = Enter(std::move(node));
  if (entered == nullptr) {
    return;
  }
  if (isInline) {
    TakeDocument(*entered, target);
    return;
  }
  Fetch(*entered);
}

/// A link that is none on the target: there may be something to another host, or where a collection lists it; anything
/// else is a mistake.
void Walk::NoteAway(const Node& from, const std::string& text, FamilyMask families) {
  constexpr std::size_t kMostShown = 200;
  Node away;
  away.path = from.path;
  away.families = from.collection || text.find("//") != std::string::npos ? families : 0;
  Fail(away, FailureCause::BadData,
       "a link leads away from the service: " + Text::EscapeControl(text.substr(0, kMostShown)));
}

/// Members that are neither links nor resources. Only where the collection counts them is there something.
void Walk::NoteLost(const Node& collection, std::size_t count, bool isCounted) {
  Node lost;
  lost.path = collection.path;
  lost.families = isCounted ? collection.families : 0;
  Fail(lost, FailureCause::BadData, "members without a link: " + std::to_string(count));
}

Node Walk::NodeAt(Link link, const Node& from, Role role, FamilyMask families, std::size_t position) {
  Node node;
  node.role = role;
  node.path = std::move(link.path);
  node.fragment = std::move(link.fragment);
  node.id = IdOf(WithoutQuery(node.path)) + (node.fragment.empty() ? "" : "#" + node.fragment);
  node.above = from.id;
  node.families = families;
  node.position = position;
  return node;
}

void Walk::FollowLater(const Node& from, const std::string& link, Role role, FamilyMask families,
                       std::size_t position) {
  auto parsed = ParseLink(link, Origin());
  if (later_.size() >= request_.options.resource_limit) {
    NoteLimit(families, "more than " + std::to_string(later_.size()) + " links");
  } else if (parsed) {
    later_.push_back(NodeAt(std::move(*parsed), from, role, families, position));
    later_.back().member = true;
  }
}

void Walk::FollowNow(Node node) {
  if (HasVisited(node.path)) {
    return;
  }
  if (Node* const entered = Enter(std::move(node))) {
    entered->fragment.empty() ? Fetch(*entered) : FetchPart(*entered);
  }
}

void Walk::Run() {
  fetcher_.Run();
  for (bool more = ResumeLogs(); more || !later_.empty(); more = ResumeLogs()) {
    std::vector<Node> now = std::exchange(later_, {});
    const auto parts =
        std::stable_partition(now.begin(), now.end(), [](const Node& one) { return one.fragment.empty(); });
    if (parts != now.begin()) {  // a part of what is read as a whole needs no request
      later_.assign(std::make_move_iterator(parts), std::make_move_iterator(now.end()));
      now.erase(parts, now.end());
    }
    for (Node& one : now) {
      FollowNow(std::move(one));
    }
    fetcher_.Run();
  }
}

void Walk::FetchPart(Node& node) {
  std::string key = KeyOf(node.path);
  std::vector<Node*>& waiting = parts_[key];
  waiting.push_back(&node);
  if (waiting.size() == 1) {
    fetcher_.Get(node.path, [this, key = std::move(key)](Reply& reply) { TakeParts(key, reply); });
  }
}

void Walk::TakeParts(const std::string& key, Reply& reply) {
  const std::vector<Node*> nodes = std::move(parts_[key]);
  const auto document = reply.IsOk() ? JsonDocument::ReadLeniently(std::move(reply.body)) : std::nullopt;
  for (Node* const node : nodes) {
    const JsonValue part = document ? Resolve(document->Root(), node->fragment) : JsonValue();
    if (IsResource(part)) {
      TakeDocument(*node, part);
      continue;
    }
    node->missing = reply.IsMissing() || document;
    Fail(*node, reply.IsOk() ? FailureCause::BadData : reply.cause,
         reply.IsOk() ? "the document does not hold what the link names" : reply.error);
  }
}

void Walk::Fetch(Node& node) {
  node.expanded = node.collection && !expandQuery_.empty() && node.path.find('?') == std::string::npos;
  fetcher_.Get(node.expanded ? node.path + expandQuery_ : node.path,
               [this, &node](Reply& reply) { Take(node, reply); });
}

bool Walk::Refetch(Node& node, const Reply& reply) {
  if (node.expanded) {
    node.expanded = false;
    if (reply.status != 404 && ++expandFailures_ >= (expandWorks_ ? kMaxExpandFailures : 1)) {
      expandQuery_.clear();
    }
  } else if (reply.status == 404 && !node.otherPaths.empty()) {
    node.path = node.otherPaths.back();
    node.otherPaths.pop_back();
  } else if (reply.status == 404 && node.path.size() > 1 && node.path.back() == '/') {
    node.path.pop_back();
  } else {
    return false;
  }
  fetcher_.Get(node.path, [this, &node](Reply& again) { Take(node, again); });
  return true;
}

void Walk::Take(Node& node, Reply& reply) {
  if (!reply.IsOk()) {
    if (fetcher_.Stopped() == FailureCause::None && Refetch(node, reply)) {
      return;
    }
    node.missing = reply.IsMissing();
    Fail(node, reply.cause, reply.error);
    return;
  }
  const auto document = JsonDocument::ReadLeniently(std::move(reply.body));
  if (!document || !IsResource(Resolve(document->Root(), node.fragment))) {
    Reply unusable;
    unusable.status = reply.status;
    if (node.expanded && Refetch(node, unusable)) {
      return;
    }
    Fail(node, FailureCause::BadData, document ? "the response is not a Redfish resource" : "the response is not JSON");
    return;
  }
  TakeDocument(node, Resolve(document->Root(), node.fragment));
}

void Walk::Fail(const Node& node, FailureCause cause, const std::string& why) {
  cause = cause == FailureCause::NotSuchService ? FailureCause::BadData : cause;  // the root has shown that it is
  const bool missing = node.missing || cause == FailureCause::NotOffered;
  const auto kind = cause == FailureCause::BadData    ? GapKind::Unusable
                    : cause == FailureCause::Deadline ? GapKind::Truncated
                                                      : GapKind::Failure;
  // One resource that is refused does not mean that the login is.
  const bool refused = cause == FailureCause::LoginRefused && fetcher_.Stopped() == FailureCause::None;
  DiagnosticsRecorder::AddGap(kind, refused || missing ? FailureCause::NotOffered : cause, node.path, why);
  if (missing) {
    return;
  }
  KELVAR_LOG(2) << "Could not read " << node.path << ": " << why;
  for (std::size_t i = 0; i < outcomes_.size(); ++i) {
    Outcome& outcome = outcomes_[i];
    if ((node.families >> i & 1) != 0 && outcome.failures++ == 0) {
      outcome.cause = cause;
      outcome.first = Text::EscapeControl(node.path) + ": " + why;
    }
  }
}

void Walk::TakeDocument(Node& node, JsonValue root) {
  const bool isCollection = IsCollection(root);
  const bool isList = root["Members"].IsArray();
  if (isList || (isCollection && IsEmpty(root))) {
    anyLog_ = anyLog_ || node.role == Role::LogEntry;
    if (isList) {
      TakeMembers(node, root);
    }
    return;
  }
  if (isCollection || (node.collection && !root["Id"] && !root["Name"])) {
    if (node.expanded && Refetch(node, Reply())) {
      return;
    }
    Fail(node, FailureCause::BadData, "the collection has no members");
    return;
  }
  TakeResource(node, root);
}

void Walk::TakeResource(Node& node, JsonValue resource) {
  // The resource knows the spelling of its path best, as long as it names itself.
  const auto own = ParseLink(resource["@odata.id"].String().value_or(""), Origin());
  if (own && node.fragment.empty() && own->fragment.empty() && KeyOf(own->path) == KeyOf(WithoutQuery(node.path))) {
    node.id = IdOf(own->path);
  }
  if (node.role == Role::LogEntry) {
    node.created = Instant(CreatedAt(resource));
  }
  visit_(node, resource);
}

void Walk::NoteExpansion(const Node& node, JsonValue members) {
  const auto elements = members.Elements();
  if (!node.expanded || elements.empty()) {
    return;
  }
  if (std::any_of(elements.begin(), elements.end(), IsWholeResource)) {
    expandWorks_ = true;
  } else if (!expandWorks_ && ++expandIgnored_ >= kMaxExpandIgnored) {
    KELVAR_LOG(4) << "The service does not expand collections, although it says so";
    expandQuery_.clear();
  }
}

void Walk::TakeMembers(Node& node, JsonValue collection) {
  node.collection = true;
  NoteExpansion(node, collection["Members"]);
  std::size_t position = node.position;
  const std::size_t known = nodes_.size();
  const std::string next = NextPageOf(collection);
  const bool paged = !next.empty();
  const std::vector<JsonValue> members = collection["Members"].Elements();
  const auto told = NumberAt(collection, "Members@odata.count");
  const auto given =
      std::count_if(members.begin(), members.end(), [](JsonValue member) { return !IsEmptyMember(member); });
  const bool mayLack = node.expanded && (!paged || given == 0);
  const bool lacksSome = mayLack && told && *told > static_cast<double>(given);
  if (!lacksSome && DeferLog(node, members, collection)) {
    return;
  }
  for (const JsonValue member : members) {
    TakeMember(node, member, position++);
  }
  if (lacksSome) {  // some services leave out what they could not expand
    node.expanded = false;
    fetcher_.Get(node.path, [this, &node](Reply& again) { Take(node, again); });
    return;
  }
  if (given < std::ssize(members) && !(told && *told <= static_cast<double>(given))) {
    NoteLost(node, members.size() - static_cast<std::size_t>(given), told.has_value());
  }
  node.barrenPages = nodes_.size() == known ? node.barrenPages + 1 : 0;
  if (!HasEnough(node, members, position)) {
    TakeNextPage(node, next, position);
  }
}

void Walk::TakeMember(const Node& collection, JsonValue member, std::size_t position) {
  if (!member["@odata.id"] && IsWholeResource(member)) {
    Node node;
    node.role = collection.role;
    const std::string name = member["Id"].String().value_or(member["MemberId"].String().value_or(""));
    node.path = WithoutQuery(collection.path);
    node.path += (node.path.ends_with('/') ? "" : "/") + (name.empty() ? std::to_string(position) : name);
    node.id = IdOf(node.path);
    node.above = collection.id;
    node.families = collection.families;
    node.position = position;
    node.member = true;
    if (Node* const entered = Enter(std::move(node))) {
      TakeDocument(*entered, member);
    }
    return;
  }
  FollowOne(collection, member, collection.role, false, collection.families, position);
}

void Walk::TakeNextPage(const Node& collection, const std::string& next, std::size_t position) {
  if (next.empty()) {
    return;
  }
  const auto link = ParseLink((next[0] == '?' ? WithoutQuery(collection.path) : "") + next, Origin());
  if (!link) {
    Fail(collection, FailureCause::BadData, "the link to the next page leads away from the service");
    return;
  }
  if (collection.barrenPages >= kMaxBarrenPages) {
    KELVAR_LOG(2) << "Pages of " << collection.path << " repeat themselves; the rest is not read";
    return;
  }
  Node page;
  page.role = collection.role;
  page.path = link->path;
  page.id = collection.id;
  page.above = collection.above;
  page.families = collection.families;
  page.position = position;
  page.barrenPages = collection.barrenPages;
  page.ofExpanded = collection.expanded || collection.ofExpanded;
  page.collection = true;
  if (Node* const entered = Enter(std::move(page))) {
    Fetch(*entered);
  }
}

}  // namespace Kelvar::Reader
