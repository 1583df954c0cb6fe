#include <kelvar/Diagnostics.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "common/diagnostics/DiagnosticsRecorder.h"

namespace Kelvar {
namespace {

void Meet(FailureCause cause, const std::string& response = "") {
  DiagnosticsRecorder::Add({.protocol = "redfish", .request = "GET /", .response = response, .cause = cause});
}

TEST(DiagnosticsTest, TheMostTellingCauseCounts) {
  struct Case {
    std::vector<FailureCause> met;
    bool understood;
    FailureCause expected;
  };
  using Cause = FailureCause;
  const Case cases[] = {
      {{}, false, Cause::None},
      {{Cause::None}, false, Cause::None},
      {{Cause::BadData, Cause::LoginRefused, Cause::Tls}, true, Cause::LoginRefused},
      {{Cause::Unreachable, Cause::NotOffered}, true, Cause::Unreachable},
      {{Cause::NotOffered, Cause::NotOffered}, false, Cause::NotSuchService},
      {{Cause::NotOffered}, true, Cause::NotOffered},
      {{Cause::NotSuchService, Cause::NotOffered}, false, Cause::NotSuchService},
      {{Cause::NotOffered, Cause::NotSuchService}, true, Cause::BadData},
      {{Cause::NotSuchService, Cause::TooLarge}, true, Cause::TooLarge},
  };
  for (const Case& one : cases) {
    Diagnostics diagnostics;
    const DiagnosticsScope scope(diagnostics);
    for (const FailureCause cause : one.met) {
      Meet(cause, NameOf(cause));
    }
    if (one.understood) {
      DiagnosticsRecorder::NoteServiceUnderstood();
    }
    SCOPED_TRACE(&one - cases);
    EXPECT_STREQ(NameOf(diagnostics.Cause()), NameOf(one.expected));
    EXPECT_EQ(diagnostics.ServiceUnderstood(), one.understood);
    EXPECT_EQ(diagnostics.Detail().empty(), one.expected == Cause::None);
  }
}

TEST(DiagnosticsTest, ScopesNestAndBelongToTheirThread) {
  Diagnostics outer;
  Diagnostics inner;
  Meet(FailureCause::Tls);
  const DiagnosticsScope outerScope(outer);
  {
    const DiagnosticsScope innerScope(inner);
    Meet(FailureCause::BadData, "both");
    std::thread([] { Meet(FailureCause::Tls); }).join();
  }
  Meet(FailureCause::NotOffered);
  EXPECT_EQ(inner.ExchangeCount(), 1u);
  EXPECT_EQ(outer.ExchangeCount(), 2u);
  EXPECT_EQ(outer.Detail(), "both");
  outer.Clear();
  EXPECT_EQ(outer.Cause(), FailureCause::None);
  EXPECT_EQ(outer.ExchangeCount(), 0u);
}

TEST(DiagnosticsTest, KeepsABoundedAmountWithoutControlCharacters) {
  Diagnostics diagnostics;
  const DiagnosticsScope scope(diagnostics);
  for (std::size_t i = 0; i < Diagnostics::kMaxExchanges + 10; ++i) {
    DiagnosticsRecorder::Add(
        {.protocol = "cim", .request = std::string(2000, 'x'), .response = "a\x1b[2J\nb", .bytes = 3});
    DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, "a\nb", std::string(2000, '\n'));
  }
  EXPECT_EQ(diagnostics.Exchanges().size(), Diagnostics::kMaxExchanges);
  EXPECT_EQ(diagnostics.ExchangeCount(), Diagnostics::kMaxExchanges + 10);
  EXPECT_EQ(diagnostics.BytesReceived(), 3 * (Diagnostics::kMaxExchanges + 10));
  EXPECT_EQ(diagnostics.Gaps().size(), Diagnostics::kMaxGaps);
  EXPECT_EQ(diagnostics.GapCount(), Diagnostics::kMaxExchanges + 10);
  EXPECT_EQ(diagnostics.Exchanges().front().request.size(), Diagnostics::kMaxText);
  EXPECT_EQ(diagnostics.Exchanges().front().response, "a\\x1b[2J\\x0ab");
  EXPECT_EQ(diagnostics.Gaps().front().what, "a\\x0ab");
  EXPECT_EQ(diagnostics.Gaps().front().detail.size(), Diagnostics::kMaxText);
}

}  // namespace
}  // namespace Kelvar
