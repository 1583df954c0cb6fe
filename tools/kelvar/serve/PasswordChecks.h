#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <boost/asio/io_context.hpp>

#include "tools/kelvar/pool/WorkerPool.h"

namespace Kelvar::Tool::Serve {

/// Checks basic authentication. bcrypt takes some hundredths of a second, so it runs on a thread of its own, once for
/// what comes again; a user that does not exist costs as much as one that does. On the server's thread alone.
class PasswordChecks {
 public:
  enum class Outcome {
    Good,
    Bad,
    Busy,  ///< too many others are being checked
  };
  using Done = std::function<void(Outcome outcome)>;
  using Users = std::map<std::string, std::string>;  ///< with the bcrypt hashes of their passwords

  static constexpr std::size_t kMostPending = 64;
  static constexpr std::size_t kMostRemembered = 1000;  ///< of good ones, and as many bad ones

  explicit PasswordChecks(boost::asio::io_context& context);
  ~PasswordChecks();
  PasswordChecks(const PasswordChecks&) = delete;
  PasswordChecks& operator=(const PasswordChecks&) = delete;

  /// `authorization`: the header's value, which may be empty. `done` is called once, perhaps before this returns.
  void Check(const Users& users, std::string_view authorization, Done done);

  std::size_t HashesMade() const { return hashesMade_; }

  /// False when one still runs after `timeLimit`: the object must then live as long as the process.
  bool Stop(std::chrono::milliseconds timeLimit) { return workers_.FinishWithin(timeLimit); }

 private:
  class Task;
  /// Keyed by a secret of this process, so that how long a search takes tells nothing about a password.
  using Digest = std::array<unsigned char, 32>;

  /// The last ones of a kind.
  class Memory {
   public:
    void Add(const Digest& digest);
    bool Has(const Digest& digest) const { return known_.count(digest) > 0; }

   private:
    std::set<Digest> known_;
    std::deque<Digest> order_;
  };

  Digest DigestOf(const std::string& text) const;
  void Finish(const Digest& digest, bool good);

  boost::asio::io_context& context_;
  Digest secret_{};
  Memory good_;
  Memory bad_;
  std::map<Digest, std::vector<Done>> pending_;
  std::size_t hashesMade_ = 0;
  WorkerPool workers_;
};

}  // namespace Kelvar::Tool::Serve
