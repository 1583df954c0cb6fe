#pragma once

#include <array>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "common/json/JsonDocument.h"
#include "module/reader/redfish/Fetcher.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

/// What a resource is to the reader; which links it follows from there, and what it decodes.
enum class Role : u8 {
  Root,
  System,
  Manager,
  Chassis,
  Processor,
  Memory,
  Storage,
  SimpleStorage,
  StorageController,
  Drive,
  NetworkAdapter,
  NetworkInterface,
  NetworkPort,
  PcieDevice,
  PcieSlots,
  PowerSubsystem,
  PowerSupply,
  Battery,
  ThermalSubsystem,
  Fan,
  Heater,
  OtherPart,
  Fabric,
  Conditions,
  Equipment,
  EquipmentUnit,
  Assembly,
  LeakDetection,
  LeakDetector,
  Power,
  Thermal,
  Sensor,
  Metrics,
  UpdateService,
  Firmware,
  Software,
  ServiceWithLog,
  LogService,
  LogEntry,
  EthernetInterface,
  HostInterface,
  Vlan,
  NetworkProtocol,
};

/// A set of families.
using FamilyMask = u32;
constexpr FamilyMask MaskOf(Model::Family family) {
  return FamilyMask{1} << static_cast<unsigned>(family);
}

/// One resource that a link has led to.
struct Node {
  Role role = Role::Root;
  std::string path;      ///< as it is asked for
  std::string fragment;  ///< of the resource within the document at the path
  std::string id;
  std::string above;              ///< id of the resource that links to it
  FamilyMask families = 0;        ///< that lack something without it
  std::size_t position = 0;       ///< in its collection
  int barrenPages = 0;            ///< pages in a row, up to this one, that had nothing new
  std::optional<double> created;  ///< of a log entry, in seconds since 1970
  bool collection = false;
  bool member = false;
  bool expanded = false;
  bool ofExpanded = false;  ///< a later page of a collection that is expanded
  bool missing = false;
  std::vector<std::string> otherPaths;  ///< other spellings, tried where the first leads nowhere
};

/// Follows the links of a service: every resource once, collections and their pages, members that are inside their
/// collection, nothing outside the service. Knows what resources are for only by the two calls that it gets.
class Walk {
 public:
  /// What could not be read of a family.
  struct Outcome {
    std::size_t failures = 0;
    FailureCause cause = FailureCause::None;
    std::string first;  ///< where and why, for people
  };

  using Visit = std::function<void(const Node&, JsonValue)>;

  Walk(const ReadRequest& request, Fetcher& fetcher, Visit visit);

  /// Reads the ways in which the service expands collections out of its root, which is read with that.
  void UseRoot(const char* path, JsonValue root);
  /// Follows the value of a property: a link, an array of links, or whole resources.
  void Follow(const Node& from, JsonValue target, Role role, bool collection, FamilyMask families);
  /// The same for one link, once everything else has been read.
  void FollowLater(const Node& from, const std::string& link, Role role, FamilyMask families, std::size_t position = 0);
  /// Works until nothing is left.
  void Run();
  /// There is more than is read: says so of the families, once of the service.
  void NoteLimit(FamilyMask families, const std::string& why);

  const Outcome& OutcomeOf(Model::Family family) const { return outcomes_[static_cast<std::size_t>(family)]; }
  /// Whether the entries of a log were listed, even if it has none.
  bool HasReadLog() const noexcept { return anyLog_; }
  /// Whether the resource has been read, or is under way.
  bool HasVisited(std::string_view path) const;
  const std::string& Origin() const noexcept { return fetcher_.Origin(); }

 private:
  /// A log that lists links, of which only the newest entries are requested. Its ends tell which these are.
  struct LinkedLog {
    struct End {
      std::string link;
      std::optional<double> created;  ///< of one that is listed in full
    };
    enum class Order : u8 { NotYetKnown, NewestFirst, OldestFirst, Unknown };
    struct Entry {
      std::string link;
      std::size_t position;
    };

    Node page;         ///< the last one
    std::string next;  ///< link to the page after it
    End first;         ///< of the first page
    End last;
    Order order = Order::NotYetKnown;
    std::deque<Entry> links;  ///< not requested yet
    std::unordered_set<std::string> seen;
    std::size_t end = 0;             ///< position after the last entry
    std::vector<std::string> batch;  ///< requested last
  };

  void NoteAway(const Node& from, const std::string& text, FamilyMask families);
  void NoteLost(const Node& collection, std::size_t count, bool isCounted);
  static Node NodeAt(Link link, const Node& from, Role role, FamilyMask families, std::size_t position);
  Node* Enter(Node node);
  void FollowOne(const Node& from, JsonValue target, Role role, bool collection, FamilyMask families,
                 std::size_t position);
  void FollowNow(Node node);
  void Fetch(Node& node);
  void FetchPart(Node& node);
  void TakeParts(const std::string& key, Reply& reply);
  void Take(Node& node, Reply& reply);
  void TakeDocument(Node& node, JsonValue root);
  void TakeResource(Node& node, JsonValue resource);
  void TakeMembers(Node& node, JsonValue collection);
  void TakeMember(const Node& collection, JsonValue member, std::size_t position);
  bool DeferLog(const Node& page, const std::vector<JsonValue>& members, JsonValue collection);
  bool TakeLinks(LinkedLog& log, const Node& page, const std::vector<JsonValue>& members);
  LinkedLog::End EndOf(JsonValue member) const;
  bool ResumeLogs();
  bool Resume(LinkedLog& log);
  LinkedLog::Order OrderOf(const LinkedLog& log) const;
  std::vector<LinkedLog::Entry> NextEntries(LinkedLog& log) const;
  bool IsPast(const LinkedLog& log) const;
  std::optional<double> CreatedOf(const std::string& link) const;
  bool HasEnough(const Node& log, const std::vector<JsonValue>& members, std::size_t position) const;
  void TakeNextPage(const Node& collection, const std::string& next, std::size_t position);
  bool Refetch(Node& node, const Reply& reply);
  void NoteExpansion(const Node& node, JsonValue members);
  void Fail(const Node& node, FailureCause cause, const std::string& why);

  const ReadRequest& request_;
  Fetcher& fetcher_;
  Visit visit_;
  bool anyLog_ = false;
  std::deque<Node> nodes_;
  std::unordered_map<std::string, Node*> visited_;
  std::vector<Node> later_;
  std::map<std::string, LinkedLog> linkedLogs_;                ///< by id
  std::unordered_map<std::string, std::vector<Node*>> parts_;  ///< that wait for the document that holds them
  std::array<Outcome, Model::kFamilyCount> outcomes_;
  std::string expandQuery_;  ///< empty: the service does not expand
  bool expandWorks_ = false;
  int expandFailures_ = 0;
  int expandIgnored_ = 0;
  bool limitReached_ = false;
};

/// Whether a value is a resource of its own, not just a link to one.
bool IsWholeResource(JsonValue value);
/// Link to the page after this one; empty for the last.
std::string NextPageOf(JsonValue collection);
/// Under which a resource is known.
std::string KeyFor(const std::string& path, const std::string& fragment);
/// Whether a value says nothing but, at most, where something is.
bool IsBare(JsonValue value);

}  // namespace Kelvar::Reader
