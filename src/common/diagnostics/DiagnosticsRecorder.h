#pragma once

#include <string_view>

#include <kelvar/Diagnostics.h>

namespace Kelvar {

/// Where the library's own code records what it meets; goes to all scopes of the calling thread. Nothing throws.
class DiagnosticsRecorder {
 public:
  /// Whether anybody listens: what is costly to word may be left out otherwise.
  static bool Wanted() noexcept;
  /// Texts are cut, and their control characters escaped.
  static void Add(const DiagnosticExchange& exchange) noexcept;
  static void AddGap(GapKind kind, FailureCause cause, std::string_view what, std::string_view detail) noexcept;
  /// The target answered as the service that was expected.
  static void NoteServiceUnderstood() noexcept;
  /// A response came over such a connection; without a version, over one without TLS.
  static void NoteTls(const DiagnosticTls& tls) noexcept;
  /// A pause between two tries begins, or with an empty text is over.
  static void NoteWait(const char* reason) noexcept;
};

/// A pause between two tries, for its life.
class DiagnosticsWait {
 public:
  explicit DiagnosticsWait(const char* reason) noexcept { DiagnosticsRecorder::NoteWait(reason); }
  ~DiagnosticsWait() { DiagnosticsRecorder::NoteWait(""); }
  DiagnosticsWait(const DiagnosticsWait&) = delete;
  DiagnosticsWait& operator=(const DiagnosticsWait&) = delete;
};

}  // namespace Kelvar
