#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "support/ScriptedHttpServer.h"

namespace Kelvar::Bench {

/// Many targets on loopback, each an account of its own on one of a few HTTPS servers in this process.
class Farm {
 public:
  explicit Farm(std::chrono::milliseconds latency);

  /// A target that answers.
  std::string Good(int number) const { return Address(*good_, number); }
  /// One that is dead, silent, slow or hostile, the kinds in turn.
  std::string Bad(int number) const;

  u16 GoodPort() const { return good_->Port(); }
  std::size_t Requests() const { return good_->Requests().size(); }
  int Connections() const { return good_->ConnectionCount(); }

 private:
  using Server = Test::ScriptedHttpServer;

  static std::string Address(const Server& server, int number);
  Server& AddBad();

  std::unique_ptr<Server> good_;
  std::vector<std::unique_ptr<Server>> bad_;
};

}  // namespace Kelvar::Bench
