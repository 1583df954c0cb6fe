#include <kelvar/Diagnostics.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <new>
#include <optional>
#include <string_view>
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

constexpr const char* kTlsVerifications[] = {"none", "ca", "pin", "pin_and_ca"};

constexpr const char* kGapKinds[] = {"failure", "unusable", "links_only", "truncated", "lost_records"};

thread_local DiagnosticsScope* innermostScope = nullptr;

/// As it is kept: cut, and without control characters.
std::string Fit(std::string_view text) {
  std::string fitting = Text::EscapeControl(text.substr(0, Diagnostics::kMaxText));
  if (fitting.size() > Diagnostics::kMaxText) {
    fitting.resize(Diagnostics::kMaxText);
  }
  return fitting;
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

const char* NameOf(TlsVerification verification) noexcept {
  const auto index = static_cast<std::size_t>(verification);
  return index < std::size(kTlsVerifications) ? kTlsVerifications[index] : kTlsVerifications[0];
}

struct Diagnostics::State {
  std::vector<DiagnosticExchange> exchanges;
  std::vector<DiagnosticGap> gaps;
  u64 exchangeCount = 0;
  u64 gapCount = 0;
  u64 bytes = 0;
  /// For each cause the text of the first that was met; none: not met.
  std::array<std::optional<std::string>, std::size(kCauses)> met;
  bool serviceUnderstood = false;
  DiagnosticTls tls;
  WaitListener onWait;

  void Add(DiagnosticExchange exchange) {
    Meet(exchange.cause, exchange.response);
    if (exchanges.size() < kMaxExchanges) {
      exchanges.push_back(std::move(exchange));
    }
  }

  void Add(DiagnosticGap gap) {
    Meet(gap.cause, gap.detail);
    if (gaps.size() < kMaxGaps) {
      gaps.push_back(std::move(gap));
    }
  }

  void Note(const DiagnosticTls& one) noexcept {
    const std::string_view version = tls.version;
    tls.verification = version.empty() ? one.verification : std::min(tls.verification, one.verification);
    tls.version = version.empty() || one.version < version ? one.version : tls.version;
    if (one.certificate_end != 0 && (tls.certificate_end == 0 || one.certificate_end < tls.certificate_end)) {
      tls.certificate_end = one.certificate_end;
    }
  }

  /// The cause that was met and tells most.
  FailureCause Strongest() const noexcept {
    std::size_t strongest = 0;
    for (std::size_t i = 1; i < met.size(); ++i) {
      if (met[i] && RankOf(i) > RankOf(strongest)) {
        strongest = i;
      }
    }
    return static_cast<FailureCause>(strongest);
  }

 private:
  void Meet(FailureCause cause, const std::string& text) {
    std::optional<std::string>& first = met[static_cast<std::size_t>(cause)];
    if (cause != FailureCause::None && !first) {
      first = text;
    }
  }

  /// What did not look like the expected service was bad data of it, once it has answered as such.
  int RankOf(std::size_t cause) const noexcept {
    const bool wasUnderstood = static_cast<FailureCause>(cause) == FailureCause::NotSuchService && serviceUnderstood;
    return RowOf(wasUnderstood ? FailureCause::BadData : static_cast<FailureCause>(cause)).rank;
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
  const FailureCause strongest = state_->Strongest();
  if (strongest == FailureCause::NotSuchService && state_->serviceUnderstood) {
    return FailureCause::BadData;
  }
  if (strongest == FailureCause::NotOffered && !state_->serviceUnderstood) {
    return FailureCause::NotSuchService;
  }
  return strongest;
}
const std::string& Diagnostics::Detail() const noexcept {
  static const std::string kNone;
  const auto& text = state_->met[static_cast<std::size_t>(state_->Strongest())];
  return text ? *text : kNone;
}
bool Diagnostics::ServiceUnderstood() const noexcept {
  return state_->serviceUnderstood;
}
DiagnosticTls Diagnostics::Tls() const noexcept {
  return state_->tls;
}
void Diagnostics::SetWaitListener(WaitListener listener) {
  state_->onWait = std::move(listener);
}
void Diagnostics::Clear() noexcept {
  State fresh;
  fresh.onWait.swap(state_->onWait);
  *state_ = std::move(fresh);
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
    Diagnostics::State& state = *scope->diagnostics_.state_;
    ++state.exchangeCount;
    state.bytes += exchange.bytes;
    try {
      DiagnosticExchange kept = exchange;
      kept.request = Fit(exchange.request);
      kept.response = Fit(exchange.response);
      state.Add(std::move(kept));
    } catch (const std::bad_alloc&) {  // counted, not kept
    }
  }
}

void DiagnosticsRecorder::AddGap(GapKind kind, FailureCause cause, std::string_view what,
                                 std::string_view detail) noexcept {
  for (DiagnosticsScope* scope = innermostScope; scope != nullptr; scope = scope->outer_) {
    Diagnostics::State& state = *scope->diagnostics_.state_;
    ++state.gapCount;
    try {
      state.Add(DiagnosticGap{kind, cause, Fit(what), Fit(detail)});
    } catch (const std::bad_alloc&) {  // counted, not kept
    }
  }
}

void DiagnosticsRecorder::NoteWait(const char* reason) noexcept {
  for (DiagnosticsScope* scope = innermostScope; scope != nullptr; scope = scope->outer_) {
    try {
      if (scope->diagnostics_.state_->onWait) {
        scope->diagnostics_.state_->onWait(reason);
      }
    } catch (...) {  // the listener's own affair
    }
  }
}

void DiagnosticsRecorder::NoteTls(const DiagnosticTls& tls) noexcept {
  for (DiagnosticsScope* scope = innermostScope; scope != nullptr && *tls.version != '\0'; scope = scope->outer_) {
    scope->diagnostics_.state_->Note(tls);
  }
}

void DiagnosticsRecorder::NoteServiceUnderstood() noexcept {
  for (DiagnosticsScope* scope = innermostScope; scope != nullptr; scope = scope->outer_) {
    scope->diagnostics_.state_->serviceUnderstood = true;
  }
}

}  // namespace Kelvar
