// A whole reading of a Redfish service that answers out of the input. Blocks of the input, which empty lines separate,
// are resources: a line "PATH [STATUS]" and the body. What is asked for and not there is answered by one of the blocks,
// or is missing. Requests stay on the service and are bounded, each session is closed, and the inventory keeps the
// promises of its header.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include <kelvar/InventoryReader.h>
#include <kelvar/Log.h>

#include "fuzz/Check.h"
#include "transport/rest/MultiTransfer.h"

namespace {

constexpr std::string_view kOrigin = "https://bmc:443";
constexpr std::string_view kSessions = "/redfish/v1/SessionService/Sessions";
constexpr Kelvar::u32 kResources = 150;

struct Resource {
  int status = 200;
  std::string body;
};

/// The service of one input.
class Service {
 public:
  explicit Service(std::string_view text) {
    while (!text.empty()) {
      const std::size_t end = std::min(text.find("\n\n"), text.size());
      Add(text.substr(0, end));
      text.remove_prefix(std::min(end + 2, text.size()));
    }
  }

  Rest::TransferResult Answer(const Rest::TransferRequest& request) {
    FUZZ_CHECK(request.url.starts_with(kOrigin) && request.url.size() > kOrigin.size());
    const std::string path = request.url.substr(kOrigin.size());
    FUZZ_CHECK(path.front() == '/');
    FUZZ_CHECK(
        std::none_of(path.begin(), path.end(), [](unsigned char letter) { return letter <= ' ' || letter == 0x7F; }));
    FUZZ_CHECK(++requests_ <= 8UL * kResources);
    Rest::TransferResult result;
    if (request.method == "POST") {
      ++sessions;
      result.status = 201;
      result.authToken = "token";
      result.location = std::string(kSessions) + "/1";
    } else if (request.method == "DELETE") {
      FUZZ_CHECK(path == std::string(kSessions) + "/1");
      --sessions;
      result.status = 204;
    } else {
      FUZZ_CHECK(request.method == "GET");
      const Resource& resource = Find(path);
      result.status = resource.status;
      (resource.status / 100 == 3 ? result.location : result.body) = resource.body;
    }
    return result;
  }

  int sessions = 0;  ///< open ones

 private:
  void Add(std::string_view block) {
    const std::string_view head = block.substr(0, block.find('\n'));
    const std::size_t space = std::min(head.find(' '), head.size());
    Resource resource;
    if (space < head.size()) {
      std::from_chars(head.data() + space + 1, head.data() + head.size(), resource.status);
    }
    const bool asksToWait = resource.status == 429 || resource.status == 503;  // no run waits
    resource.status = resource.status < 100 || resource.status > 599 || asksToWait ? 500 : resource.status;
    resource.body = head.size() < block.size() ? block.substr(head.size() + 1) : std::string_view();
    known_.emplace(head.substr(0, space), resource);
    all_.push_back(std::move(resource));
  }

  const Resource& Find(const std::string& path) const {
    const auto known = known_.find(path);
    if (known != known_.end()) {
      return known->second;
    }
    static const Resource missing{404, ""};
    const std::size_t hash = std::hash<std::string>()(path);
    return all_.empty() || hash % 2 == 0 ? missing : all_[hash / 2 % all_.size()];
  }

  std::map<std::string, Resource, std::less<>> known_;
  std::deque<Resource> all_;
  std::size_t requests_ = 0;
};

Service* service = nullptr;

}  // namespace

// In place of the transfers of libcurl: answers at once.
namespace Rest {

struct MultiTransfer::Shared {
  std::deque<TransferResult> results;
};

MultiTransfer::MultiTransfer(Options options) : options_(std::move(options)), shared_(std::make_unique<Shared>()) {}
MultiTransfer::~MultiTransfer() = default;

// The library passes the request on; here it is only looked at.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void MultiTransfer::Start(Kelvar::u64 id, TransferRequest request) {
  TransferResult result = service->Answer(request);
  result.id = id;
  shared_->results.push_back(std::move(result));
}

std::size_t MultiTransfer::Active() const noexcept {
  return shared_->results.size();
}

std::vector<TransferResult> MultiTransfer::Wait(std::chrono::milliseconds) {
  std::vector<TransferResult> results;
  if (!shared_->results.empty()) {
    results.push_back(std::move(shared_->results.front()));
    shared_->results.pop_front();
  }
  return results;
}

void MultiTransfer::Abort() noexcept {
  shared_->results.clear();
}

}  // namespace Rest

namespace {

using namespace Kelvar::Model;

template <class Record>
void CheckIds(const std::vector<Record>& records) {
  std::set<std::string> ids;
  for (const Record& record : records) {
    FUZZ_CHECK(!record.id.empty());
    FUZZ_CHECK(ids.insert(record.id).second);
  }
}

void CheckNumbers(const Inventory& inventory) {
  for (const Sensor& sensor : inventory.sensors) {
    for (const auto* number :
         {&sensor.reading, &sensor.lower_fatal, &sensor.lower_critical, &sensor.lower_caution, &sensor.upper_caution,
          &sensor.upper_critical, &sensor.upper_fatal, &sensor.range_min, &sensor.range_max}) {
      FUZZ_CHECK(!*number || std::isfinite(**number));
    }
  }
  for (const Component& component : inventory.components) {
    for (const auto* number : {&component.speed_mhz, &component.speed_mbps, &component.predicted_life_left_percent,
                               &component.power_capacity_watts}) {
      FUZZ_CHECK(!*number || std::isfinite(**number));
    }
  }
}

void CheckInventory(const Inventory& inventory) {
  for (const Family family : kAllFamilies) {
    const FamilyResult& result = inventory.ResultOf(family);
    FUZZ_CHECK(result.status != FamilyStatus::NotAsked);
    FUZZ_CHECK(std::none_of(result.reason.begin(), result.reason.end(),
                            [](unsigned char letter) { return letter < ' ' || letter == 0x7F; }));
    FUZZ_CHECK(result.status != FamilyStatus::Complete || result.reason.empty());
  }
  CheckIds(inventory.systems);
  CheckIds(inventory.firmware);
  CheckIds(inventory.components);
  CheckIds(inventory.sensors);
  CheckIds(inventory.leds);
  CheckNumbers(inventory);
  const Verdict verdict = Judge(inventory);
  // What could not be read is a reason too, of a health that may be ok.
  const Health worst = verdict.reasons.empty() ? Health::Unknown : verdict.reasons.front().health;
  FUZZ_CHECK(worst == Health::Unknown || verdict.health == worst);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Kelvar::Log::SetMinLogLevel(0);
  Service scripted(std::string_view(reinterpret_cast<const char*>(data), size));
  service = &scripted;
  Kelvar::KelvarConnection::ConnectionInfo info;
  info.ConnectionCase = Kelvar::KelvarConnection::CONNECTION_CASE_REDFISH;
  info.Host = "bmc";
  info.Port = 443;
  info.UserName = "admin";
  info.Password = "password";
  Kelvar::InventoryReaderOptions options;
  options.resource_limit = kResources;
  CheckInventory(Kelvar::InventoryReader(info, options).Read());
  FUZZ_CHECK(scripted.sessions == 0);
  return 0;
}
