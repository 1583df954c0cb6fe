#include "tools/kelvar/serve/Serve.h"

#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/ConfigFile.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/LogView.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/serve/Exporter.h"
#include "tools/kelvar/serve/MetricsServer.h"
#include "tools/kelvar/serve/ProbePool.h"
#include "tools/kelvar/serve/Prober.h"

namespace Kelvar::Tool::Serve {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

constexpr unsigned short usualPort = 9764;
constexpr auto goodbyeLimit = std::chrono::seconds(1);

struct Options {
  std::string listen;
  std::string config;
  int verbose = 0;
};

void Declare(CLI::App& app, Options& options) {
  app.add_option("--listen", options.listen, "Address and port to listen on, such as 127.0.0.1:9764 or [::]:9764")
      ->type_name("ADDR[:PORT]");
  DeclareConfig(app, options.config);
  app.add_flag("-v,--verbose", options.verbose,
               "Show why readings are not complete; repeat it to see what goes wrong on the way");
  app.footer(
      "Accounts and allowed targets come from the configuration file alone.\n"
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
  unsigned short port = usualPort;
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

Config ConfigIn(const std::string& named) {
  const std::string file = named.empty() ? DefaultConfigFile() : named;
  if (file.empty()) {
    throw ToolError(ExitCode::Usage, "kelvar serve needs a configuration file: use --config");
  }
  Config config = ReadConfig(file);
  if (config.serve.targets.empty()) {
    throw ToolError(ExitCode::Usage,
                    "configuration " + file + ": serve.targets is missing or empty; no target is allowed");
  }
  return config;
}

std::unique_ptr<MetricsServer> Listen(asio::io_context& context, const std::string& address, Exporter& exporter) {
  try {
    return std::make_unique<MetricsServer>(context, EndpointOf(address),
                                           [&exporter](const HttpRequest& request, MetricsServer::Respond respond) {
                                             return exporter.Handle(request, std::move(respond));
                                           });
  } catch (const boost::system::system_error& error) {
    throw ToolError(ExitCode::Internal, "cannot listen on " + address + ": " + error.code().message());
  }
}

void Announce(Output& output, const tcp::endpoint& endpoint) {
  const std::string address = endpoint.address().to_string();
  const std::string host = endpoint.address().is_v6() ? '[' + address + ']' : address;
  output.Write(fmt::format("{{\"url\":\"http://{}:{}/\"}}\n", host, endpoint.port()));
  output.Finish();
}

void Run(const Config& config, const std::string& listen, int verbose, Output& output) {
  const LogView log(verbose > 1 ? static_cast<u32>(verbose) : 0);
  Prober prober(config, verbose > 0);
  ProbePool pool(config.serve.maxInFlight, [&prober](const Probe& probe) { return prober.Read(probe); });
  asio::io_context context;
  Exporter exporter(context, prober, pool, std::chrono::seconds(config.serve.timeoutSeconds));
  const auto server = Listen(context, listen, exporter);
  asio::signal_set signals(context, SIGTERM, SIGINT);
  signals.async_wait([&context](boost::system::error_code, int) { context.stop(); });
  Announce(output, server->Endpoint());
  context.run();
  server->Stop();
  exporter.Stop();
  context.restart();
  context.run_for(goodbyeLimit);
  if (!pool.Stop(goodbyeLimit)) {
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
  const Config config = ConfigIn(options.config);
  std::signal(SIGPIPE, SIG_IGN);
  Output output;
  const std::string listen = options.listen.empty() ? config.serve.listen : options.listen;
  Run(config, listen, options.verbose, output);
  return 0;
}

}  // namespace Kelvar::Tool::Serve
