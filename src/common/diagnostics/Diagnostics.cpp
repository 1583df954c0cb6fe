#include <kelvar/Diagnostics.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/text/Escape.h"

namespace Kelvar {

namespace {

struct CauseRow {
  const char* name;
  const char* description;
  int rank;  ///< the higher one tells more about why a target cannot be read
};

// In the order of FailureCause.
constexpr CauseRow kCauses[] = {
    {"none", "no failure", 0},
    {"unreachable", "the target cannot be reached", 7},
    {"refused", "the target refuses the connection", 6},
    {"login_refused", "the login was refused", 10},
    {"tls", "TLS failed", 8},
    {"not_such_service", "the target is not the expected service", 9},
    {"not_offered", "the target does not offer it", 1},
    {"bad_data", "the target sent an invalid response", 3},
    {"too_large", "a bound on size was reached", 4},
    {"deadline", "the time was over", 5},
};

constexpr const char* kGapKinds[] = {"failure", "unusable", "links_only", "truncated", "lost_records"};

thread_local DiagnosticsScope* innermostScope = nullptr;

void Cut(std::string& text) {
  if (text.size() > Diagnostics::kMaxText) {
    text.resize(Diagnostics::kMaxText);
  }
}

const CauseRow& RowOf(FailureCause cause) {
  const auto index = static_cast<std::size_t>(cause);
  return kCauses[index < std::size(kCauses) ? index : 0];
}

}  // namespace

const char* NameOf(FailureCause cause) noexcept {
  return RowOf(cause).name;
}

const char* DescriptionOf(FailureCause cause) noexcept {
  return RowOf(cause).description;
}

const char* NameOf(GapKind kind) noexcept {
  const auto index = static_cast<std::size_t>(kind);
  return index < std::size(kGapKinds) ? kGapKinds[index] : kGapKinds[0];
}

struct Diagnostics::State {
  std::vector<DiagnosticExchange> exchanges;
  std::vector<DiagnosticGap> gaps;
  u64 exchangeCount = 0;
  u64 gapCount = 0;
  u64 bytes = 0;
  FailureCause cause = FailureCause::None;
  std::string detail;
  bool serviceUnderstood = false;

  void Add(const DiagnosticExchange& exchange) {
    ++exchangeCount;
    bytes += exchange.bytes;
    TakeCause(exchange.cause, exchange.response);
    if (exchanges.size() < kMaxExchanges) {
      exchanges.push_back(exchange);
      Cut(exchanges.back().request);
      Cut(exchanges.back().response);
    }
  }

  void Add(DiagnosticGap gap) {
    ++gapCount;
    TakeCause(gap.cause, gap.detail);
    if (gaps.size() < kMaxGaps) {
      gaps.push_back(std::move(gap));
    }
  }

 private:
  void TakeCause(FailureCause met, const std::string& text) {
    if (RowOf(met).rank > RowOf(cause).rank) {
      cause = met;
      detail.assign(text, 0, kMaxText);
    }
  }
};

Diagnostics::Diagnostics() : state_(std::make_unique<State>()) {}
Diagnostics::~Diagnostics() = default;
Diagnostics::Diagnostics(Diagnostics&& other) noexcept = default;
Diagnostics& Diagnostics::operator=(Diagnostics&& other) noexcept = default;

const std::vector<DiagnosticExchange>& Diagnostics::Exchanges() const noexcept {
  return state_->exchanges;
}
const std::vector<DiagnosticGap>& Diagnostics::Gaps() const noexcept {
  return state_->gaps;
}
u64 Diagnostics::ExchangeCount() const noexcept {
  return state_->exchangeCount;
}
u64 Diagnostics::GapCount() const noexcept {
  return state_->gapCount;
}
u64 Diagnostics::BytesReceived() const noexcept {
  return state_->bytes;
}
FailureCause Diagnostics::Cause() const noexcept {
  return state_->cause;
}
const std::string& Diagnostics::Detail() const noexcept {
  return state_->detail;
}
bool Diagnostics::ServiceUnderstood() const noexcept {
  return state_->serviceUnderstood;
}
void Diagnostics::Clear() noexcept {
  *state_ = State();
}

DiagnosticsScope::DiagnosticsScope(Diagnostics& diagnostics) noexcept
    : diagnostics_(diagnostics), outer_(std::exchange(innermostScope, this)) {}

DiagnosticsScope::~DiagnosticsScope() {
  innermostScope = outer_;
}

bool DiagnosticsRecorder::Wanted() noexcept {
  return innermostScope != nullptr;
}

void DiagnosticsRecorder::Add(const DiagnosticExchange& exchange) noexcept {
  for (DiagnosticsScope* scope = innermostScope; scope != nullptr; scope = scope->outer_) {
    try {
      scope->diagnostics_.state_->Add(exchange);
    } catch (const std::bad_alloc&) {  // counted, not kept
    }
  }
}

void DiagnosticsRecorder::AddGap(GapKind kind, FailureCause cause, std::string_view what,
                                 std::string_view detail) noexcept {
  for (DiagnosticsScope* scope = innermostScope; scope != nullptr; scope = scope->outer_) {
    try {
      DiagnosticGap gap{kind, cause, std::string(what.substr(0, Diagnostics::kMaxText)),
                        Text::EscapeControl(std::string(detail.substr(0, Diagnostics::kMaxText)))};
      Cut(gap.detail);
      scope->diagnostics_.state_->Add(std::move(gap));
    } catch (const std::bad_alloc&) {
      ++scope->diagnostics_.state_->gapCount;
    }
  }
}

void DiagnosticsRecorder::NoteServiceUnderstood() noexcept {
  for (DiagnosticsScope* scope = innermostScope; scope != nullptr; scope = scope->outer_) {
    scope->diagnostics_.state_->serviceUnderstood = true;
  }
}

}  // namespace Kelvar
