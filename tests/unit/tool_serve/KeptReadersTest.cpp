// Which readers keep their session, and for how long.

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "flow/reader/RedfishTree.h"
#include "tools/kelvar/serve/KeptReaders.h"

namespace Kelvar::Test {
namespace {

using Tool::Serve::KeptReaders;

class Kept : public testing::Test {
 protected:
  Kept() {
    tree_.Put("/redfish/v1/", R"({"@odata.id":"/redfish/v1/","RedfishVersion":"1.0.0",)"
                              R"("Links":{"Sessions":{"@odata.id":"/redfish/v1/SessionService/Sessions"}},)"
                              R"("UpdateService":{"@odata.id":"/redfish/v1/UpdateService"}})");
  }
  KeptReaders::Reader Make() const {
    InventoryReaderOptions options;
    options.keep_session = true;
    options.authentication = InventoryReaderOptions::Authentication::Session;
    return std::make_unique<InventoryReader>(tree_.Target(), options);
  }
  void Use(const std::string& key) {
    const KeptReaders::Loan loan(readers_, key, [this] { return Make(); });
    (*loan).Read({Model::Family::Firmware});
  }
  /// Sessions are closed on other threads.
  int OpenSessions(int expected) const {
    for (int tries = 0; tries < 1000 && tree_.OpenSessions() != expected; ++tries) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return tree_.OpenSessions();
  }

  RedfishTree tree_;
  KeptReaders::Clock::time_point now_ = KeptReaders::Clock::now();
  KeptReaders readers_{[this] { return now_; }};
};

TEST_F(Kept, AreUsedAgainAndClosedWhenIdle) {
  Use("a");
  Use("a");
  EXPECT_EQ(tree_.Logins(), 1);
  Use("b");
  EXPECT_EQ(tree_.OpenSessions(), 2);
  now_ += KeptReaders::kLongestIdle - std::chrono::minutes(1);
  Use("b");
  EXPECT_EQ(tree_.OpenSessions(), 2);
  now_ += std::chrono::minutes(1);
  Use("b");
  EXPECT_EQ(OpenSessions(1), 1) << "of b alone";
}

TEST_F(Kept, AreFewForEachTargetAndNoneAtTheEnd) {
  const auto make = [this] { return Make(); };
  {
    const KeptReaders::Loan one(readers_, "a", make);
    const KeptReaders::Loan two(readers_, "a", make);
    const KeptReaders::Loan three(readers_, "a", make);
    for (const KeptReaders::Loan* loan : {&one, &two, &three}) {
      (**loan).Read({Model::Family::Firmware});
    }
    EXPECT_EQ(tree_.OpenSessions(), 3);
  }
  EXPECT_EQ(OpenSessions(2), 2);
  readers_.Cancel();
  EXPECT_TRUE(readers_.Finish(std::chrono::seconds(20)));
  EXPECT_EQ(tree_.OpenSessions(), 0);
}

}  // namespace
}  // namespace Kelvar::Test
