// How often bcrypt runs, and for whom.

#include <algorithm>

#include <gtest/gtest.h>
#include <boost/asio/executor_work_guard.hpp>

#include "tools/kelvar/serve/PasswordChecks.h"

namespace Kelvar::Test {
namespace {

using Tool::Serve::PasswordChecks;
using Outcome = PasswordChecks::Outcome;

constexpr const char* kHash = "$2b$04$abcdefghijklmnopqrstuu2r9OfJnfCsdneAXAGHnS4UpFFP8WIrW";   // of "secret"
constexpr const char* kOther = "$2b$04$abcdefghijklmnopqrstuu0HtfOlPbTiymk5tcV.3TsFPDd3SYZqu";  // of "other"
constexpr const char* kGood = "Basic dXNlcjpzZWNyZXQ=";                                         // user:secret
constexpr const char* kBad = "Basic dXNlcjpvdGhlcg==";                                          // user:other
constexpr const char* kUnknown = "Basic bm9ib2R5OnNlY3JldA==";                                  // nobody:secret

class Checks : public testing::Test {
 protected:
  void Begin(const PasswordChecks::Users& users, const std::string& authorization) {
    checks_.Check(users, authorization, [this](Outcome outcome) { outcomes_.push_back(outcome); });
  }
  /// Waits for the outcomes of all that was begun.
  std::vector<Outcome> Outcomes(std::size_t count) {
    context_.restart();
    const auto work = boost::asio::make_work_guard(context_);
    while (outcomes_.size() < count && context_.run_one_for(std::chrono::seconds(20)) > 0) {
    }
    return std::exchange(outcomes_, {});
  }
  Outcome Check(const PasswordChecks::Users& users, const std::string& authorization) {
    Begin(users, authorization);
    return Outcomes(1).at(0);
  }

  boost::asio::io_context context_;
  PasswordChecks checks_{context_};
  std::vector<Outcome> outcomes_;
};

TEST_F(Checks, HashOnceForWhatComesAgain) {
  const PasswordChecks::Users users{{"user", kHash}};
  for (int times = 0; times < 50; ++times) {
    Begin(users, kGood);
    Begin(users, kBad);
    Begin(users, kUnknown);
  }
  EXPECT_EQ(checks_.HashesMade(), 3U) << "an unknown user costs as much as a wrong password";
  const std::vector<Outcome> outcomes = Outcomes(150);
  EXPECT_EQ(std::count(outcomes.begin(), outcomes.end(), Outcome::Good), 50);
  EXPECT_EQ(std::count(outcomes.begin(), outcomes.end(), Outcome::Bad), 100);
  EXPECT_EQ(Check(users, kGood), Outcome::Good);
  EXPECT_EQ(Check(users, kUnknown), Outcome::Bad);
  EXPECT_EQ(checks_.HashesMade(), 3U);
  EXPECT_EQ(Check({{"user", kOther}}, kGood), Outcome::Bad) << "the password was changed";
  EXPECT_EQ(Check({{"user", kHash}, {"nobody", kHash}}, kUnknown), Outcome::Good) << "the user came to be";
  EXPECT_EQ(Check({}, ""), Outcome::Good) << "there is no login";
}

TEST_F(Checks, AreBoundedAndForgetNoGoodOneForBadOnes) {
  const PasswordChecks::Users users{{"user", kHash}};
  EXPECT_EQ(Check(users, kGood), Outcome::Good);
  const auto wrong = [](std::size_t number) {  // "u:" and three bytes more
    const std::string digits = std::to_string(1000 + number);
    return "Basic dTpB" + digits;
  };
  for (std::size_t number = 0; number < PasswordChecks::kMostPending; ++number) {
    Begin(users, wrong(number));
  }
  EXPECT_EQ(Check(users, wrong(5000)), Outcome::Busy);
  EXPECT_EQ(Outcomes(PasswordChecks::kMostPending).size(), PasswordChecks::kMostPending);
  for (std::size_t number = 0; number < PasswordChecks::kMostRemembered + 10; ++number) {
    EXPECT_EQ(Check(users, wrong(number)), Outcome::Bad);
  }
  const std::size_t before = checks_.HashesMade();
  EXPECT_EQ(Check(users, kGood), Outcome::Good);
  EXPECT_EQ(checks_.HashesMade(), before);
  EXPECT_EQ(Check(users, wrong(0)), Outcome::Bad);
  EXPECT_EQ(checks_.HashesMade(), before + 1) << "the oldest of the bad ones was forgotten";
}

}  // namespace
}  // namespace Kelvar::Test
