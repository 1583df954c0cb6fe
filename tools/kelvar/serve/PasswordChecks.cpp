#include "tools/kelvar/serve/PasswordChecks.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <crypt.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <boost/asio/post.hpp>

namespace Kelvar::Tool::Serve {

namespace {

struct Login {
  std::string user;
  std::string password;
};

/// What "Basic BASE64" says.
std::optional<Login> LoginIn(std::string_view authorization) {
  constexpr std::string_view kScheme = "basic ";
  const auto same = [](char one, char other) { return (one >= 'A' && one <= 'Z' ? one + ('a' - 'A') : one) == other; };
  if (authorization.size() <= kScheme.size() ||
      !std::equal(kScheme.begin(), kScheme.end(), authorization.begin(),
                  [&](char wanted, char given) { return same(given, wanted); })) {
    return std::nullopt;
  }
  const std::string_view base64 = authorization.substr(kScheme.size());
  std::string text(base64.size(), '\0');
  const int size =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(base64.data()), static_cast<int>(base64.size()));
  if (size < 0) {
    return std::nullopt;
  }
  const auto padding = static_cast<std::size_t>(std::count(base64.begin(), base64.end(), '='));
  text.resize(static_cast<std::size_t>(size) - std::min(padding, static_cast<std::size_t>(size)));
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) {
    return std::nullopt;
  }
  return Login{text.substr(0, colon), text.substr(colon + 1)};
}

constexpr std::size_t kCostAt = 4;

/// The hash that takes longest.
const std::string& DearestHash(const PasswordChecks::Users& users) {
  return std::max_element(users.begin(), users.end(),
                          [](const auto& one, const auto& other) {
                            return one.second.compare(kCostAt, 2, other.second, kCostAt, 2) < 0;
                          })
      ->second;
}

bool HashMatches(const std::string& hash, const std::string& password) {
  const auto data = std::make_unique<crypt_data>();
  const char* const made = crypt_r(password.c_str(), hash.c_str(), data.get());
  const bool same = made != nullptr && std::strlen(made) == hash.size() &&
                    CRYPTO_memcmp(made, hash.data(), hash.size()) == 0 && password.find('\0') == std::string::npos;
  OPENSSL_cleanse(data.get(), sizeof *data);
  return same;
}

}  // namespace

/// One use of bcrypt.
class PasswordChecks::Task : public WorkerPool::Task {
 public:
  Task(PasswordChecks& checks, const Digest& digest, std::string hash, std::string password, bool isKnown)
      : checks_(checks), digest_(digest), hash_(std::move(hash)), password_(std::move(password)), isKnown_(isKnown) {}
  ~Task() override { OPENSSL_cleanse(password_.data(), password_.size()); }
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;

  void Run() override { good_ = HashMatches(hash_, password_) && isKnown_; }
  void Done() override {
    boost::asio::post(checks_.context_,
                      [checks = &checks_, digest = digest_, good = good_] { checks->Finish(digest, good); });
  }
  void OnDeadline() override {}  // there is none

 private:
  PasswordChecks& checks_;
  const Digest digest_;
  const std::string hash_;
  std::string password_;
  const bool isKnown_;
  bool good_ = false;
};

void PasswordChecks::Memory::Add(const Digest& digest) {
  if (known_.insert(digest).second) {
    order_.push_back(digest);
  }
  if (order_.size() > kMostRemembered) {
    known_.erase(order_.front());
    order_.pop_front();
  }
}

PasswordChecks::PasswordChecks(boost::asio::io_context& context) : context_(context), workers_({}) {
  if (RAND_bytes(secret_.data(), static_cast<int>(secret_.size())) != 1) {
    throw std::runtime_error("no random numbers");
  }
}

PasswordChecks::~PasswordChecks() {
  workers_.Finish();
}

void PasswordChecks::Check(const Users& users, std::string_view authorization, Done done) {
  if (users.empty()) {
    return done(Outcome::Good);
  }
  auto login = LoginIn(authorization);
  if (!login) {
    return done(Outcome::Bad);
  }
  const auto known = users.find(login->user);
  const bool isKnown = known != users.end();
  const std::string& hash = isKnown ? known->second : DearestHash(users);
  const Digest digest = DigestOf((isKnown ? '1' : '0') + hash + login->user + ':' + login->password);
  if (good_.Has(digest) || bad_.Has(digest)) {
    return done(good_.Has(digest) ? Outcome::Good : Outcome::Bad);
  }
  const auto pending = pending_.find(digest);
  if (pending != pending_.end()) {
    pending->second.push_back(std::move(done));
    return;
  }
  if (pending_.size() >= kMostPending) {
    return done(Outcome::Busy);
  }
  try {
    workers_.Submit(std::make_shared<Task>(*this, digest, hash, std::move(login->password), isKnown));
  } catch (const std::system_error&) {  // no thread can be made
    return done(Outcome::Busy);
  }
  pending_[digest].push_back(std::move(done));
  ++hashesMade_;
}

PasswordChecks::Digest PasswordChecks::DigestOf(const std::string& text) const {
  Digest digest{};
  HMAC(EVP_sha256(), secret_.data(), static_cast<int>(secret_.size()),
       reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data(), nullptr);
  return digest;
}

void PasswordChecks::Finish(const Digest& digest, bool good) {
  (good ? good_ : bad_).Add(digest);
  auto waiting = pending_.extract(digest);
  for (const Done& done : waiting.mapped()) {
    done(good ? Outcome::Good : Outcome::Bad);
  }
}

}  // namespace Kelvar::Tool::Serve
