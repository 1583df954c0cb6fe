// kelvar: prints the inventory of a server, read through its service processor.

#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "common/text/Escape.h"
#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/LogWatch.h"
#include "tools/kelvar/Options.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/Printer.h"
#include "tools/kelvar/Reader.h"
#include "tools/kelvar/Target.h"

namespace {

using namespace Kelvar;
using namespace Kelvar::Tool;

std::optional<Target> CimPartner(const Options& options, const Target& target) {
  if (options.withCim.empty()) {
    return std::nullopt;
  }
  Target partner = ParseTarget(options.withCim);
  if (target.protocol != Protocol::Redfish || partner.protocol != Protocol::Cim) {
    throw ToolError(ExitCode::Usage, "--with-cim takes a CIM target beside a Redfish target");
  }
  return partner;
}

std::string TextOf(const Report& report, const std::string& format, Colour colour) {
  if (format == "json") {
    return IndentedJsonText(report);
  }
  if (format == "jsonl") {
    return JsonText(report);
  }
  return format == "csv" ? CsvHead() + CsvText(report) : TableText(report, colour);
}

void Explain(const char* part, const std::vector<std::string>& exchanges) {
  std::fprintf(stderr, "%s: %zu %s\n", part, exchanges.size(), exchanges.size() == 1 ? "request" : "requests");
  for (const std::string& exchange : exchanges) {
    std::fprintf(stderr, "  %s\n", Text::EscapeControl(exchange).c_str());
  }
}

void Explain(const Report& report) {
  Explain("connect", report.connecting);
  for (const Report::Entry& entry : report.entries) {
    Explain(entry.command->name, entry.exchanges);
  }
}

int Run(const Options& options) {
  Target target = ParseTarget(options.target);
  CommandsFor(options.what, target.protocol);  // before a password is asked for
  std::optional<Target> partner = CimPartner(options, target);
  Credentials credentials(options.password, ConfigOf(options));
  const Colour colour = ColourOf(options);
  Output output;
  credentials.Fill(target);
  if (partner) {
    credentials.Fill(*partner);
  }
  LogWatch log(ShownLogLevel(options), options.explain);
  const Report report = ReadTarget(target, partner, {options.what, options.commonEventId}, log);
  output.Write(TextOf(report, options.format, colour));
  output.Finish();
  if (options.explain) {
    Explain(report);
  }
  if (!report.error.empty()) {
    std::fprintf(stderr, "kelvar: %s\n", Text::EscapeControl(report.error).c_str());
  }
  return static_cast<int>(report.code);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Prints the inventory of one server, read through its service processor.", "kelvar");
  Options options;
  Declare(app, options);
  try {
    app.parse(argc, argv);
    return Run(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode::Usage);
  } catch (const ToolError& error) {
    std::fprintf(stderr, "kelvar: %s\n", Text::EscapeControl(error.what()).c_str());
    return static_cast<int>(error.Code());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kelvar: %s\n", Text::EscapeControl(error.what()).c_str());
    return static_cast<int>(ExitCode::Internal);
  }
}
