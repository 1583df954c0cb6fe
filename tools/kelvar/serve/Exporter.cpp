#include "tools/kelvar/serve/Exporter.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include <curl/curl.h>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include "common/text/Escape.h"
#include "tools/kelvar/metrics/InventoryMetrics.h"
#include "tools/kelvar/serve/LandingPage.h"

namespace Kelvar::Tool::Serve {

namespace {

using std::chrono::milliseconds;

constexpr const char* kMetricsType = "text/plain; version=0.0.4; charset=utf-8";

HttpResponse Plain(unsigned status, const std::string& text) {
  HttpResponse response;
  response.status = status;
  response.body = Text::EscapeControl(text) + '\n';
  return response;
}

std::string Decoded(std::string text, bool plusIsBlank) {
  if (plusIsBlank) {
    std::replace(text.begin(), text.end(), '+', ' ');
  }
  int length = 0;
  char* const decoded = curl_easy_unescape(nullptr, text.data(), static_cast<int>(text.size()), &length);
  const std::unique_ptr<char, decltype(&curl_free)> owner(decoded, curl_free);
  return decoded == nullptr ? std::string() : std::string(decoded, static_cast<std::size_t>(length));
}

/// The parameters target and module; throws Refusal when one of them is given twice. Others are ignored.
std::map<std::string, std::string> ParametersOf(const std::string& query) {
  std::map<std::string, std::string> parameters;
  for (std::size_t start = 0; start <= query.size();) {
    const std::size_t end = std::min(query.find('&', start), query.size());
    const std::string part = query.substr(start, end - start);
    const std::size_t equals = std::min(part.find('='), part.size());
    const std::string name = Decoded(part.substr(0, equals), true);
    // No target holds a blank, and the plus of cim+https is easily left as it is.
    const std::string value =
        equals == part.size() ? std::string() : Decoded(part.substr(equals + 1), name != "target");
    if ((name == "target" || name == "module") && !parameters.emplace(name, value).second) {
      throw Refusal(400, name + " is given twice");
    }
    start = end + 1;
  }
  return parameters;
}

/// Of a reading that is not over there is nothing but that.
std::string TextOf(const Probe& probe, const ProbePool::Result& result) {
  if (result.report) {
    return MetricsText(*InventoryOf(*result.report), {.finished = true});
  }
  InventoryReport unfinished;
  unfinished.target = probe.target.address;
  unfinished.cause = FailureCause::Deadline;
  unfinished.code = ExitCode::Unreachable;
  unfinished.seconds = result.seconds;
  return MetricsText(unfinished, {.finished = false});
}

constexpr double kLongestServed = 3600;  ///< seconds; older data say nothing about the present
constexpr std::size_t kMostKnown = 5000;
constexpr std::size_t kMostInBackground = 256;

double AgeOf(std::chrono::steady_clock::time_point end) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - end).count();
}

}  // namespace

/// A probe that is not answered yet.
struct Exporter::Waiting {
  Waiting(boost::asio::io_context& context, Probe which, MetricsServer::Respond answer)
      : timer(context), probe(std::move(which)), respond(std::move(answer)) {}

  boost::asio::steady_timer timer;
  Probe probe;
  MetricsServer::Respond respond;
  std::size_t number = 0;
  ProbePool::Ticket ticket = 0;
};

milliseconds TimeFor(const std::string& seconds, milliseconds longest) {
  double wanted = 0;
  const char* const end = seconds.data() + seconds.size();
  const auto [rest, error] = std::from_chars(seconds.data(), end, wanted);
  constexpr double kMost = 1e6;
  if (error != std::errc{} || rest != end || !(wanted > 0 && wanted < kMost)) {
    return longest;
  }
  constexpr double kMargin = 0.5;
  constexpr double kShare = 0.25;
  const double left = wanted - std::min(kMargin, wanted * kShare);
  constexpr double kThousand = 1000;
  return std::min(longest, milliseconds(static_cast<long>(left * kThousand)));
}

Exporter::Exporter(boost::asio::io_context& context, const Prober& prober, ProbePool& pool, Load load)
    : context_(context), prober_(prober), pool_(pool), load_(std::move(load)) {}

MetricsServer::Cancel Exporter::Handle(const HttpRequest& request, const MetricsServer::Respond& respond) {
  const std::size_t mark = std::min(request.target.find('?'), request.target.size());
  const std::string path = request.target.substr(0, mark);
  const std::string query = mark == request.target.size() ? std::string() : request.target.substr(mark + 1);
  if (path == "/probe" && request.method == HttpMethod::Get) {
    try {
      return StartProbe(request, query, respond);
    } catch (const Refusal& refusal) {
      ++answered_[{path, refusal.Status()}];
      respond(Plain(refusal.Status(), refusal.what()));
      return {};
    }
  }
  HttpResponse response = Answer(request, path);
  ++answered_[{response.status == 404 ? "other" : path, response.status}];
  respond(std::move(response));
  return {};
}

HttpResponse Exporter::Answer(const HttpRequest& request, const std::string& path) {
  if (path == "/-/reload") {
    return AnswerPost(request, path);
  }
  HttpResponse response = path == "/probe" ? Plain(200, "") : Get(path);
  if (request.method == HttpMethod::Get || response.status == 404) {
    return response;
  }
  HttpResponse refused = Plain(405, "use GET");
  refused.allowed = "GET, HEAD";
  return refused;
}

HttpResponse Exporter::AnswerPost(const HttpRequest& request, const std::string& path) {
  if (request.method != HttpMethod::Post) {
    HttpResponse refused = Plain(405, path + ": use POST");
    refused.allowed = "POST";
    return refused;
  }
  if (request.fromOtherSite) {
    return Plain(403, "a page of another site must not ask for this");
  }
  const std::string error = Reload();
  return error.empty() ? Plain(200, "the configuration was read")
                       : Plain(500, "the old configuration was kept: " + error);
}

HttpResponse Exporter::Get(const std::string& path) const {
  if (path == "/metrics") {
    return {200, kMetricsType, OwnMetricsText(answered_, pool_.Counted(), answeredWithKnown_, loaded_)};
  }
  if (path == "/-/healthy") {
    return Plain(200, "healthy");
  }
  if (path == "/-/ready") {
    return stopping_ ? Plain(503, "the exporter ends") : Plain(200, "ready");
  }
  if (path == "/sd") {
    return {200, "application/json", DiscoveryText(prober_.Listed())};
  }
  if (path == "/style.css") {
    return {200, "text/css; charset=utf-8", kLandingStyle};
  }
  if (path == "/") {
    HttpResponse page{200, "text/html; charset=utf-8",
                      LandingPage(prober_.ModuleNames(), prober_.Listed(), prober_.States())};
    page.policy = kLandingPolicy;
    return page;
  }
  return Plain(404, "nothing is here");
}

std::string Exporter::Reload() {
  try {
    load_();
    known_.clear();
    loaded_ = {};
    return "";
  } catch (const std::exception& error) {
    loaded_.good = false;
    return error.what();
  }
}

/// What is known is the answer while it is as fresh as the module wants, and where a reading took longer than this
/// scrape has; else the scrape waits for a reading.
MetricsServer::Cancel Exporter::StartProbe(const HttpRequest& request, const std::string& query,
                                           MetricsServer::Respond respond) {
  auto parameters = ParametersOf(query);
  Probe probe = prober_.ProbeOf(parameters["target"], parameters["module"]);
  probe.time = TimeFor(request.scrapeTimeout, prober_.LongestReading());
  if (probe.module.maxAgeSeconds > 0) {
    const Known* const known = KnownOf(probe);
    const bool fresh = known != nullptr && AgeOf(known->end) <= probe.module.maxAgeSeconds;
    if (!fresh) {
      ReadInBackground(probe);
    }
    if (fresh || (known != nullptr && known->seconds >= std::chrono::duration<double>(probe.time).count())) {
      ++answered_[{"/probe", 200}];
      respond(ResponseOf(*known));
      return {};
    }
  }
  const auto waiting = std::make_shared<Waiting>(context_, std::move(probe), std::move(respond));
  waiting->number = ++lastWaiting_;
  waiting_[waiting->number] = waiting;
  Wait(waiting);
  return [this, waiting] { Forget(waiting); };
}

void Exporter::Wait(const std::shared_ptr<Waiting>& waiting) {
  waiting->timer.expires_after(waiting->probe.time);
  waiting->ticket = pool_.Subscribe(waiting->probe, [this, waiting](std::shared_ptr<const ProbePool::Result> result) {
    boost::asio::post(context_, [this, waiting, result = std::move(result)] { Complete(waiting, *result); });
  });
  waiting->timer.async_wait([this, waiting](boost::system::error_code error) {
    if (!error) {
      GiveUp(waiting);
    }
  });
}

const Exporter::Known* Exporter::KnownOf(const Probe& probe) const {
  const auto known = probe.module.maxAgeSeconds == 0 ? known_.end() : known_.find(probe.Key());
  return known == known_.end() || AgeOf(known->second.end) > kLongestServed ? nullptr : &known->second;
}

/// It has the longest time that there is, and goes on when no scrape waits for it any more.
void Exporter::ReadInBackground(Probe probe) {
  if (background_.size() >= kMostInBackground || !background_.insert(probe.Key()).second) {
    return;
  }
  probe.time = prober_.LongestReading();
  pool_.Subscribe(probe, [this, probe](std::shared_ptr<const ProbePool::Result> result) {
    boost::asio::post(context_, [this, probe, result = std::move(result)] { Remember(probe, *result); });
  });
}

void Exporter::Remember(const Probe& probe, const ProbePool::Result& result) {
  const std::string key = probe.Key();
  background_.erase(key);
  if (!result.report) {
    return;
  }
  if (known_.size() >= kMostKnown && known_.count(key) == 0) {
    known_.erase(std::min_element(known_.begin(), known_.end(), [](const auto& one, const auto& other) {
      return one.second.end < other.second.end;
    }));
  }
  known_[key] = {TextOf(probe, result), std::chrono::steady_clock::now(), result.seconds};
}

HttpResponse Exporter::ResponseOf(const Known& known) {
  ++answeredWithKnown_;
  return {200, kMetricsType, WithAge(known.text, AgeOf(known.end))};
}

void Exporter::Forget(const std::shared_ptr<Waiting>& waiting) {
  if (waiting_.erase(waiting->number) == 1) {
    waiting->timer.cancel();
    pool_.Cancel(waiting->probe, waiting->ticket);
  }
}

void Exporter::GiveUp(const std::shared_ptr<Waiting>& waiting) {
  if (const auto result = pool_.Cancel(waiting->probe, waiting->ticket)) {
    Complete(waiting, *result);
  }
}

void Exporter::Complete(const std::shared_ptr<Waiting>& waiting, const ProbePool::Result& result) {
  const Known* const known = result.report ? nullptr : KnownOf(waiting->probe);
  if (known != nullptr) {
    return Reply(waiting, ResponseOf(*known));
  }
  if (!result.started) {
    return Reply(waiting, Plain(503, "too many readings are in flight (serve.max-in-flight)"));
  }
  Reply(waiting, {200, kMetricsType, TextOf(waiting->probe, result)});
}

void Exporter::Reply(const std::shared_ptr<Waiting>& waiting, HttpResponse response) {
  if (waiting_.erase(waiting->number) == 1) {
    waiting->timer.cancel();
    ++answered_[{"/probe", response.status}];
    waiting->respond(std::move(response));
  }
}

void Exporter::Stop() {
  stopping_ = true;
  const auto waiting = waiting_;
  for (const auto& [number, one] : waiting) {
    Reply(one, Plain(503, "the exporter ends"));
  }
}

}  // namespace Kelvar::Tool::Serve
