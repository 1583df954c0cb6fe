#include "module/nfw/inventory/redfish/SoftwareIdentityRedfishWithCache.h"

#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <array>
#include <stdexcept>
#include <tuple>
#include <utility>

#include <kelvar/RedfishClient.h>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/json/FieldTable.h"
#include "common/log/LogMacros.h"
#include "module/nfw/inventory/redfish/RedfishService.h"

namespace Kelvar {

using KelvarConnection::ConnectionInfo;
using KelvarOptions::SoftwareIdentity_;

namespace {

constexpr std::size_t kDigestBytes = 32;
using Digest = std::array<unsigned char, kDigestBytes>;

/// Tells passwords apart without keeping them: SHA-256 with a key that is random for each process.
Digest DigestOf(const std::string& password) {
  static const Digest kKey = [] {
    Digest random{};
    if (RAND_bytes(random.data(), static_cast<int>(random.size())) != 1) {
      throw std::runtime_error("no random bytes");
    }
    return random;
  }();
  Digest digest{};
  unsigned int size = 0;
  HMAC(EVP_sha256(), kKey.data(), static_cast<int>(kKey.size()),
       reinterpret_cast<const unsigned char*>(password.data()), password.size(), digest.data(), &size);
  return digest;
}

constexpr std::chrono::seconds kFresh{60};
constexpr std::chrono::seconds kFailureRemembered{5};

}  // namespace

/// The requests of one refresh, over one connection.
class SoftwareIdentityRedfishWithCache::Fill {
 public:
  Fill(SoftwareIdentityRedfishWithCache& cache, Rest::RestClientInterface* client)
      : cache_(cache),
        ownClient_(client == nullptr && cache.dependencies_.makeClient ? cache.dependencies_.makeClient() : nullptr),
        service_(client == nullptr ? ownClient_.get() : client, RedfishService::BaseUrl(cache.info_)) {
    if (ownClient_) {
      RedfishService::Configure(*ownClient_, cache.info_);
    }
  }

  void All() {
    Expanded();
    for (const char* id : kIdentifiers) {
      Missing(id);
    }
  }

  void Missing(const std::string& id) {
    if (!cache_.failed_ && !cache_.complete_ && cache_.identities_.count(id) == 0) {
      One(id);
    }
  }

 private:
  static Resource Read(const JsonValue& value) {
    static constexpr std::array<DocumentField<Resource>, 7> kFields = {{
        {"Id", &Resource::id},
        {"Name", &Resource::name},
        {"Description", &Resource::description},
        {"Manufacturer", &Resource::manufacturer},
        {"SoftwareId", &Resource::softwareId},
        {"Version", &Resource::version},
        {"ReleaseDate", &Resource::releaseDate},
    }};
    Resource resource;
    LoadFields(value, kFields, resource);
    return resource;
  }

  /// They are complete when every member stood in the answer itself.
  void Expanded() {
    auto response = Ask("", std::string(RedfishService::kFirmwareInventory) + RedfishService::kExpand);
    if (!response) {
      return;
    }
    const auto document = JsonDocument::Read(std::move(response->body));
    const JsonValue members = document ? document->Root()["Members"] : JsonValue();
    cache_.complete_ = members.IsArray() && !document->Root()[kNextLink];
    for (const JsonValue& member : members.Elements()) {
      if (const auto id = member["Id"].String()) {
        cache_.identities_[*id] = Read(member);
      } else {
        cache_.complete_ = false;
      }
    }
  }

  void One(const std::string& id) {
    auto response = Ask(id, std::string(RedfishService::kFirmwareInventory) + "/" + id);
    const auto document = response ? JsonDocument::Read(std::move(response->body)) : std::nullopt;
    cache_.identities_[id] =
        document && document->Root().IsObject() ? std::optional<Resource>(Read(document->Root())) : std::nullopt;
  }

  /// None for a failed response. When the first request meets what further ones would meet as well, the whole fill is a
  /// failure; one identity that fails is that one's alone.
  std::optional<Rest::RestResponse> Ask(const std::string& id, const std::string& path) {
    Rest::RestResponse response = service_.Fetch(path);
    if (!RedfishService::IsFailed(response)) {
      return response;
    }
    const std::string failure = "Failed to get software identity info from " + path +
                                ", curlCode: " + std::to_string(response.curlCode) +
                                ", httpCode: " + std::to_string(response.httpCode);
    KELVAR_LOG(2) << failure;
    RedfishService::NoteFailure(path, response);
    const bool wouldRepeat = response.curlCode != 0 || response.httpCode == 401 || response.httpCode == 503;
    cache_.failed_ = id.empty() && wouldRepeat;
    cache_.failures_[id] = {failure, response.cause};
    return std::nullopt;
  }

  SoftwareIdentityRedfishWithCache& cache_;
  std::unique_ptr<Rest::RestClientInterface> ownClient_;
  RedfishService service_;
};

SoftwareIdentityRedfishWithCache* SoftwareIdentityRedfishWithCache::GetInstance(const ConnectionInfo& info) {
  using Key = std::tuple<std::string, u16, std::string, Digest, u32>;
  static std::mutex mutex;
  static auto& instances = *new std::map<Key, std::unique_ptr<SoftwareIdentityRedfishWithCache>>();
  const std::lock_guard lock(mutex);
  auto& instance = instances[{info.Host, info.Port, info.UserName, DigestOf(info.Password), info.AddressFamily}];
  if (!instance) {
    ConnectionInfo withoutPassword;  // the object lives as long as the process
    withoutPassword.Host = info.Host;
    withoutPassword.Port = info.Port;
    withoutPassword.AddressFamily = info.AddressFamily;
    instance = std::make_unique<SoftwareIdentityRedfishWithCache>(withoutPassword, Dependencies{nullptr, &Clock::now});
    static Clock::time_point looked;
    if (Clock::now() - looked >= kFresh) {
      looked = Clock::now();
      for (const auto& [key, other] : instances) {
        other->ForgetStale();
      }
    }
  }
  return instance.get();
}

SoftwareIdentityRedfishWithCache::SoftwareIdentityRedfishWithCache(const ConnectionInfo& info)
    : SoftwareIdentityRedfishWithCache(info, {[] { return std::make_unique<Rest::RedfishClient>(); }, &Clock::now}) {}

SoftwareIdentityRedfishWithCache::SoftwareIdentityRedfishWithCache(const ConnectionInfo& info,
                                                                   Dependencies dependencies)
    : info_(info), dependencies_(std::move(dependencies)) {}

int SoftwareIdentityRedfishWithCache::GetSoftwareIdentityViaID(const std::string& id, SoftwareIdentity_& identity,
                                                               Rest::RestClientInterface* client) {
  const std::lock_guard lock(mutex_);
  try {
    Refresh(id, client);
  } catch (const std::exception& error) {
    KELVAR_LOG(2) << "Failed to get software identity info with error: " << error.what();
    DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::None, RedfishService::kFirmwareInventory, error.what());
  }
  const auto found = identities_.find(id);
  if (failed_ || found == identities_.end() || !found->second) {
    return -1;
  }
  const Resource& resource = *found->second;
  identity = SoftwareIdentity_();
  identity.InstanceID = resource.id;
  identity.Name = resource.name;
  identity.Description = resource.description;
  identity.Manufacturer = resource.manufacturer;
  identity.SoftwareID = resource.softwareId;
  identity.VersionString = resource.version;
  identity.ReleaseDate = resource.releaseDate;
  return 0;
}

bool SoftwareIdentityRedfishWithCache::IsFresh() const {
  return filledAt_ && dependencies_.now() - *filledAt_ < (failed_ ? kFailureRemembered : kFresh);
}

void SoftwareIdentityRedfishWithCache::Forget() {
  identities_.clear();
  failures_.clear();
  complete_ = failed_ = false;
}

void SoftwareIdentityRedfishWithCache::ForgetStale() {
  const std::unique_lock lock(mutex_, std::try_to_lock);
  if (lock && !IsFresh()) {
    Forget();
  }
}

void SoftwareIdentityRedfishWithCache::Refresh(const std::string& id, Rest::RestClientInterface* client) {
  const bool fresh = IsFresh();
  if (fresh && (failed_ || complete_ || identities_.count(id) != 0)) {
    TellAgain(id);
    return;
  }
  Fill fill(*this, client);
  if (!fresh) {
    Forget();
    fill.All();
    filledAt_ = dependencies_.now();
  }
  fill.Missing(id);
}

/// A failure that is remembered is one of every caller that it answers: their logs tell what they miss.
void SoftwareIdentityRedfishWithCache::TellAgain(const std::string& id) const {
  const auto failure = failures_.find(failed_ ? "" : id);
  if (failure != failures_.end()) {
    const std::string told = failure->second.text + ", a while ago";
    KELVAR_LOG(2) << told;
    DiagnosticsRecorder::AddGap(GapKind::Failure, failure->second.cause, RedfishService::kFirmwareInventory, told);
  }
}

}  // namespace Kelvar
