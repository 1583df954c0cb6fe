// Requests to the exporter: each gets one response, no text of a request comes back with control characters, and no
// target is read but those that the configuration allows, with no account of the request's own.

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <optional>
#include <string>

#include "fuzz/Check.h"
#include "tools/kelvar/serve/Exporter.h"

using namespace Kelvar;
using namespace Kelvar::Tool;

namespace {

const Config& Configuration() {
  static const Config kConfig = [] {
    Config made;
    made.serve.targets = {"redfish://192.0.2.?", "ipmi://*.rack1.example"};
    made.modules = {{"sensors", {"sensors"}}, {"all", {}}};
    return made;
  }();
  return kConfig;
}

bool IsAllowed(const Target& target) {
  std::string host = target.info.Host;
  std::transform(host.begin(), host.end(), host.begin(), [](unsigned char letter) { return std::tolower(letter); });
  const std::string network = "192.0.2.";
  const std::string rack = ".rack1.example";
  if (target.protocol == Protocol::Redfish) {
    return host.size() == network.size() + 1 && host.starts_with(network) && host.back() != '.' &&
           target.info.Port == 443;
  }
  return target.protocol == Protocol::Ipmi && host.ends_with(rack) && host.find('.') == host.size() - rack.size() &&
         target.info.Port == 623;
}

Report Read(const Serve::Probe& probe) {
  FUZZ_CHECK(IsAllowed(probe.target));
  FUZZ_CHECK(probe.target.info.UserName.empty() && probe.target.info.Password.empty());
  Report report;
  report.target = probe.target.address;
  report.protocol = probe.target.protocol;
  report.code = ExitCode::Unreachable;
  return report;
}

void CheckResponse(const Serve::HttpResponse& response) {
  constexpr std::array kStatuses = {200U, 400U, 403U, 404U, 405U, 503U};
  FUZZ_CHECK(std::find(kStatuses.begin(), kStatuses.end(), response.status) != kStatuses.end());
  FUZZ_CHECK(!response.body.empty() && response.body.back() == '\n');
  FUZZ_CHECK(std::none_of(response.body.begin(), response.body.end(),
                          [](unsigned char letter) { return (letter < ' ' && letter != '\n') || letter == 0x7F; }));
  FUZZ_CHECK(response.status == 200 || std::count(response.body.begin(), response.body.end(), '\n') == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Serve::Prober prober(Configuration(), {}, false);
  static boost::asio::io_context context;
  static Serve::ProbePool pool(2, Read);
  static Serve::Exporter exporter(context, prober, pool, [] {});
  const std::string text(data, data + size);
  const std::size_t line = std::min(text.find('\n'), text.size());
  std::optional<Serve::HttpResponse> response;
  exporter.Handle({text.substr(0, line), text.substr(std::min(line + 1, text.size()))},
                  [&response](Serve::HttpResponse given) {
                    FUZZ_CHECK(!response);
                    response = std::move(given);
                  });
  context.restart();
  while (!response) {
    context.run_one();
  }
  CheckResponse(*response);
  context.poll();
  return 0;
}
