#include "tools/kelvar/fleet/SingleTarget.h"

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "common/text/Escape.h"
#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/Demo.h"
#include "tools/kelvar/Formats.h"
#include "tools/kelvar/LogView.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/fleet/Interruption.h"
#include "tools/kelvar/fleet/ProgressLine.h"
#include "tools/kelvar/fleet/TimedReading.h"

namespace Kelvar::Tool {

namespace {

using Clock = std::chrono::steady_clock;

std::optional<Target> CimPartner(const Options& options, const Target& target) {
  if (options.withCim.empty()) {
    return std::nullopt;
  }
  Target partner = ParseTarget(options.withCim);
  if (target.protocol != Protocol::Redfish || partner.protocol != Protocol::Cim) {
    throw ToolError(ExitCode::Usage, "--with-cim takes a CIM target, together with a Redfish target");
  }
  return partner;
}

void FillAccounts(const Options& options, bool demo, Target& target, std::optional<Target>& partner) {
  if (demo && !partner) {
    return;
  }
  Credentials credentials(options.password, ConfigNamed(options.config));
  if (!demo) {
    credentials.Fill(target);
  }
  if (partner) {
    credentials.Fill(*partner);
  }
}

void Explain(const char* part, const std::vector<DiagnosticExchange>& exchanges) {
  if (exchanges.empty()) {
    return;
  }
  std::string text = fmt::format("{}: {} {}\n", part, exchanges.size(), exchanges.size() == 1 ? "request" : "requests");
  for (const DiagnosticExchange& one : exchanges) {
    const std::string again = one.transmissions > 1 ? fmt::format(", sent {} times", one.transmissions) : "";
    text += fmt::format("  {} {} -> {}, {} bytes, {:.0f} ms{}\n", one.protocol, Text::EscapeControl(one.request),
                        Text::EscapeControl(one.response), one.bytes, one.seconds * 1000, again);
  }
  WriteToStandardError(text);
}

/// What --explain and -v tell of a connection.
void ShowTls(const Report& report, const Options& options) {
  const std::string text = TextOf(report.tls);
  if (!text.empty() && (options.explain || ShownLogLevel(options) > 0)) {
    PrintError(text);
  }
}

void Explain(const Report& report) {
  Explain("connect", report.connecting);
  if (report.inventory) {
    Explain("inventory", report.inventory->diagnostics.Exchanges());
  }
  for (const OperationResult& result : report.results) {
    Explain(result.operation->name, result.exchanges);
  }
}

/// One line for the target, or for each operation that is not complete; tables have the latter already.
void ShowReasons(const Report& report, const Options& options) {
  if (options.quiet) {
    return;
  }
  if (!report.error.empty()) {
    PrintError(report.error);
  }
  if (options.format == "table") {
    return;
  }
  if (report.inventory) {
    for (const Model::Family family : report.inventory->families) {
      const Model::FamilyResult& result = report.inventory->inventory.ResultOf(family);
      if (ExitCodeOf(result, !report.inventory->all_families) != ExitCode::Complete && report.error.empty()) {
        PrintError(std::string(Model::NameOf(family)) + ": " + ReasonOf(result));
      }
    }
  }
  for (const OperationResult& result : report.results) {
    if (result.code != ExitCode::Complete) {
      PrintError(std::string(result.operation->name) + ": " + ReasonOf(result));
    }
  }
}

/// A line on a terminal that says what is waited for, once it takes long.
class WaitLine {
 public:
  explicit WaitLine(bool wanted) : shown_(wanted && isatty(STDERR_FILENO) == 1) {}

  void Show(const KeptReading& reading) {
    constexpr std::chrono::seconds kSilence{2};
    if (shown_ && Clock::now() - start_ > kSilence) {
      const std::string text = "kelvar: waiting for " + Text::EscapeControl(reading.WaitingFor());
      WriteToStandardError('\r' + text.substr(0, ColumnsOfStandardError()) + "\x1b[K");
      any_ = true;
    }
  }
  void Clear() const {
    if (any_) {
      WriteToStandardError(ProgressLine::kEraser);
    }
  }

 private:
  const bool shown_;
  const Clock::time_point start_ = Clock::now();
  bool any_ = false;
};

/// Carries the reading out; on a signal one with a session ends early, and the program with it. False when it hangs
/// beyond its deadline.
bool Finish(const std::shared_ptr<KeptReading>& reading, const Options& options, bool hasSession) {
  WorkerPool pool({1, TimeLimitOf(options), 1});
  std::optional<Interruption> interruption;
  if (hasSession) {
    interruption.emplace();
  }
  pool.Submit(reading);
  WaitLine line(!options.quiet);
  const bool ended = pool.Finish([&] {
    line.Show(*reading);
    if (!interruption || !interruption->Pending()) {
      return;
    }
    reading->Stop();
    if (interruption->Overdue()) {
      interruption->EndBySignal();
    }
  });
  line.Clear();
  if (interruption && interruption->Pending()) {
    interruption->EndBySignal();
  }
  return ended;
}

}  // namespace

int ReadSingleTarget(const Options& options) {
  std::optional<DemoMachine> demo;
  if (DemoMachine::Names(options.target)) {
    demo.emplace(options.target);
  }
  Target target = demo ? demo->Address() : ParseTarget(options.target);
  CheckWords(options.what, options.operations, target.protocol);  // before a password is asked for
  std::optional<Target> partner = CimPartner(options, target);
  const Formatter formatter = FormatNamed(options.format).one(StyleOf(options));
  Output output;
  FillAccounts(options, demo.has_value(), target, partner);
  const LogView log(ShownLogLevel(options));
  const bool hasSession = HasSession(options.operations, target.protocol);
  const auto reading = std::make_shared<KeptReading>(std::move(target), std::move(partner),
                                                     ReadOptionsOf(options, options.what), options.deadlineSeconds);
  const bool ended = Finish(reading, options, hasSession);
  const Report& report = reading->Result();
  output.Write(DocumentOf(formatter, report));
  output.Finish();
  ShowTls(report, options);
  if (options.explain) {
    Explain(report);
  }
  ShowReasons(report, options);
  if (!ended) {
    demo.reset();
    _exit(static_cast<int>(report.code));  // the reading that hangs uses what a return would destroy
  }
  return static_cast<int>(report.code);
}

}  // namespace Kelvar::Tool
