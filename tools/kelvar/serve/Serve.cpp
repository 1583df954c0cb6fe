#include "tools/kelvar/serve/Serve.h"

#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <malloc.h>
#include <CLI/CLI.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/ConfigFile.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/LogView.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/pool/DescriptorLimit.h"
#include "tools/kelvar/serve/Exporter.h"
#include "tools/kelvar/serve/MetricsServer.h"
#include "tools/kelvar/serve/ProbePool.h"
#include "tools/kelvar/serve/Prober.h"

namespace Kelvar::Tool::Serve {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

constexpr unsigned short kUsualPort = 9764;
constexpr auto kGoodbyeLimit = std::chrono::seconds(1);
constexpr auto kReadingsLimit = std::chrono::seconds(5);   ///< to end, once they are told to
constexpr auto kSessionsLimit = std::chrono::seconds(15);  ///< to be closed

struct Options {
  std::string listen;
  std::string config;
  std::string webConfig;
  int verbose = 0;
};

void Declare(CLI::App& app, Options& options) {
  app.add_option("--listen", options.listen, "Address and port to listen on, such as 127.0.0.1:9764 or [::]:9764")
      ->type_name("ADDR[:PORT]");
  DeclareConfig(app, options.config);
  app.add_option("--web-config", options.webConfig,
                 "Prometheus' web configuration file: TLS, users and headers of the listener")
      ->type_name("FILE");
  app.add_flag("-v,--verbose", options.verbose,
               "Show why readings are not complete; repeat it to see what goes wrong on the way");
  app.footer(
      "Accounts and allowed targets come from the configuration file only.\n"
      "\nExamples\n"
      "  kelvar serve --config kelvar.toml\n"
      "  kelvar serve --config kelvar.toml --listen '[::]:9764'\n"
      "  curl '127.0.0.1:9764/probe?target=redfish://192.0.2.10'");
}

tcp::endpoint EndpointOf(const std::string& text) {
  const std::size_t bracket = text.find(']');
  const bool bare6 = bracket == std::string::npos && text.find(':') != text.rfind(':');
  const std::size_t colon = bare6 ? std::string::npos : text.find(':', bracket == std::string::npos ? 0 : bracket);
  std::string host = text.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  unsigned short port = kUsualPort;
  bool good = true;
  if (colon != std::string::npos) {
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + colon + 1, end, port);
    good = error == std::errc{} && rest == end;
  }
  boost::system::error_code error;
  const auto address = asio::ip::make_address(host, error);
  if (!good || error) {
    throw ToolError(ExitCode::Usage,
                    "--listen: \"" + text + "\" is invalid; use an IP address and a port, such as 127.0.0.1:9764");
  }
  return {address, port};
}

std::string FileOf(const std::string& named) {
  std::string file = named.empty() ? DefaultConfigFile() : named;
  if (file.empty()) {
    throw ToolError(ExitCode::Usage, "kelvar serve needs a configuration file: use --config");
  }
  return file;
}

/// All that the files say.
struct Loaded {
  Config config;
  std::vector<TargetGroup> targets;
  std::shared_ptr<const WebConfig> web;
};

Loaded Load(const std::string& file, const Options& options) {
  Loaded loaded{ReadConfig(file), {}, nullptr};
  const Config::Serve& serve = loaded.config.serve;
  if (!serve.targetsFile.empty()) {
    loaded.targets = ReadTargetsFile(serve.targetsFile);
  } else if (serve.targets.empty()) {
    throw ToolError(ExitCode::Usage,
                    "configuration " + file + ": serve.targets is missing or empty; no target is allowed");
  }
  loaded.web = LoadWebConfig(options.webConfig.empty() ? serve.webConfig : options.webConfig);
  return loaded;
}

MetricsServer::Handler HandlerOf(Exporter& exporter) {
  return [&exporter](const HttpRequest& request, const MetricsServer::Respond& respond) {
    return exporter.Handle(request, respond);
  };
}

std::unique_ptr<MetricsServer> Listen(asio::io_context& context, const std::string& address, Exporter& exporter,
                                      PasswordChecks& checks, std::shared_ptr<const WebConfig> web) {
  try {
    return std::make_unique<MetricsServer>(context, EndpointOf(address), HandlerOf(exporter), checks, std::move(web));
  } catch (const boost::system::system_error& error) {
    throw ToolError(ExitCode::Internal, "cannot listen on " + address + ": " + error.code().message());
  }
}

/// As far as the hard limit allows: readings, connections and kept sessions all take descriptors.
void RaiseDescriptors(std::size_t maxInFlight) {
  constexpr std::uint64_t kPerReading = 8;
  constexpr std::uint64_t kOfProcess = 64;
  const std::uint64_t limit = RaiseDescriptorLimit(std::numeric_limits<std::uint64_t>::max());
  const std::uint64_t needed = kOfProcess + HttpLimits{}.connections + kPerReading * maxInFlight;
  if (limit < needed) {
    PrintError(
        fmt::format("the limit of {} open files is low: max-in-flight {} can need {}; see LimitNOFILE or ulimit -Hn",
                    limit, maxInFlight, needed));
  }
}

/// Bodies and long texts go back to the system as soon as they are freed. By itself the C library raises the size from
/// which blocks do so, and the process keeps the holes.
void ReturnLargeBlocks() {
  constexpr int kBytes = 256 << 10;
  mallopt(M_MMAP_THRESHOLD, kBytes);
}

void Announce(Output& output, const tcp::endpoint& endpoint, bool tls) {
  const std::string address = endpoint.address().to_string();
  const std::string host = endpoint.address().is_v6() ? '[' + address + ']' : address;
  output.Write(fmt::format("{{\"url\":\"{}://{}:{}/\"}}\n", tls ? "https" : "http", host, endpoint.port()));
  output.Finish();
}

void EndOnSignal(asio::io_context& context, asio::signal_set& signals) {
  signals.async_wait([&context](boost::system::error_code, int) { context.stop(); });
}

void ReloadOnSignal(asio::signal_set& signals, Exporter& exporter) {
  signals.async_wait([&signals, &exporter](boost::system::error_code error, int) {
    if (!error) {
      if (const std::string why = exporter.Reload(); !why.empty()) {
        PrintError("the old configuration was kept: " + why);
      }
      ReloadOnSignal(signals, exporter);
    }
  });
}

void Run(Loaded loaded, const std::string& file, const Options& options, Output& output) {
  const Config::Serve settings = loaded.config.serve;
  RaiseDescriptors(settings.maxInFlight);
  const LogView log(options.verbose > 1 ? static_cast<u32>(options.verbose) : 0);
  Prober prober(loaded.config, std::move(loaded.targets), options.verbose > 0);
  ProbePool pool(settings.maxInFlight, [&prober](const Probe& probe) { return prober.Read(probe); });
  asio::io_context context;
  PasswordChecks checks(context);
  std::unique_ptr<MetricsServer> server;
  Exporter exporter(context, prober, pool, [&] {
    Loaded again = Load(file, options);
    prober.Use(again.config, std::move(again.targets));
    server->Use(std::move(again.web));
  });
  server = Listen(context, options.listen.empty() ? settings.listen : options.listen, exporter, checks, loaded.web);
  asio::signal_set ends(context, SIGTERM, SIGINT);
  EndOnSignal(context, ends);
  asio::signal_set reloads(context, SIGHUP);
  ReloadOnSignal(reloads, exporter);
  Announce(output, server->Endpoint(), loaded.web->tls != nullptr);
  context.run();
  server->Stop();
  exporter.Stop();
  reloads.cancel();
  prober.Cancel();
  context.restart();
  context.run_for(kGoodbyeLimit);
  const bool ended = pool.Stop(kReadingsLimit);
  if (!prober.CloseSessions(kSessionsLimit) || !ended || !checks.Stop(kGoodbyeLimit)) {
    std::_Exit(0);  // the threads of stuck readings use what a return would destroy
  }
}

}  // namespace

int Main(int argc, const char* const* argv) {
  CLI::App app("Serves the metrics of many targets to Prometheus.", "kelvar serve");
  Options options;
  Declare(app, options);
  if (const std::optional<int> over = Parse(app, argc, argv)) {
    return *over;
  }
  const std::string file = FileOf(options.config);
  (void)std::signal(SIGPIPE, SIG_IGN);
  ReturnLargeBlocks();
  Output output;
  Run(Load(file, options), file, options, output);
  return 0;
}

}  // namespace Kelvar::Tool::Serve
