#include "tools/kelvar/serve/Exporter.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include <curl/curl.h>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include "common/text/Escape.h"
#include "tools/kelvar/serve/InventoryMetrics.h"
#include "tools/kelvar/serve/OwnMetrics.h"

namespace Kelvar::Tool::Serve {

namespace {

using std::chrono::milliseconds;

constexpr const char* metricsType = "text/plain; version=0.0.4; charset=utf-8";

constexpr const char* page =
    "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>kelvar serve</title></head>\n"
    "<body><h1>kelvar serve</h1>\n"
    "<p>Metrics of servers, read through their service processors.</p>\n"
    "<ul><li><a href=\"metrics\">metrics of this exporter</a></li>\n"
    "<li><code>probe?target=SCHEME://HOST[:PORT]&amp;module=NAME</code>: metrics of a target</li></ul>\n"
    "</body></html>\n";

HttpResponse Plain(unsigned status, const std::string& text) {
  HttpResponse response;
  response.status = status;
  response.body = Text::EscapeControl(text) + '\n';
  return response;
}

std::string Decoded(std::string text) {
  std::replace(text.begin(), text.end(), '+', ' ');
  int length = 0;
  char* const decoded = curl_easy_unescape(nullptr, text.data(), static_cast<int>(text.size()), &length);
  const std::unique_ptr<char, decltype(&curl_free)> owner(decoded, curl_free);
  return decoded == nullptr ? std::string() : std::string(decoded, static_cast<std::size_t>(length));
}

/// The parameters target and module; Throws Refusal when one of them is there twice. Others mean nothing here.
std::map<std::string, std::string> ParametersOf(const std::string& query) {
  std::map<std::string, std::string> parameters;
  for (std::size_t start = 0; start <= query.size();) {
    const std::size_t end = std::min(query.find('&', start), query.size());
    const std::string part = query.substr(start, end - start);
    const std::size_t equals = std::min(part.find('='), part.size());
    const std::string name = Decoded(part.substr(0, equals));
    const std::string value = equals == part.size() ? std::string() : Decoded(part.substr(equals + 1));
    if ((name == "target" || name == "module") && !parameters.emplace(name, value).second) {
      throw Refusal(400, name + " is there twice");
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
  constexpr double most = 1e6;
  if (error != std::errc{} || rest != end || !(wanted > 0 && wanted < most)) {
    return longest;
  }
  constexpr double margin = 0.5;
  constexpr double share = 0.25;
  const double left = wanted - std::min(margin, wanted * share);
  constexpr double thousand = 1000;
  return std::min(longest, milliseconds(static_cast<long>(left * thousand)));
}

Exporter::Exporter(boost::asio::io_context& context, const Prober& prober, ProbePool& pool,
                   std::chrono::seconds longest)
    : context_(context), prober_(prober), pool_(pool), longest_(longest) {}

MetricsServer::Cancel Exporter::Handle(const HttpRequest& request, MetricsServer::Respond respond) {
  const std::size_t mark = std::min(request.target.find('?'), request.target.size());
  const std::string path = request.target.substr(0, mark);
  const std::string query = mark == request.target.size() ? std::string() : request.target.substr(mark + 1);
  if (path == "/probe") {
    try {
      return StartProbe(request, query, respond);
    } catch (const Refusal& refusal) {
      ++answered_[{path, refusal.Status()}];
      respond(Plain(refusal.Status(), refusal.what()));
      return {};
    }
  }
  HttpResponse response = Answer(path);
  ++answered_[{response.status == 404 ? "other" : path, response.status}];
  respond(std::move(response));
  return {};
}

HttpResponse Exporter::Answer(const std::string& path) const {
  if (path == "/metrics") {
    return {200, metricsType, OwnMetricsText(answered_, pool_.Counted())};
  }
  if (path == "/-/healthy") {
    return Plain(200, "healthy");
  }
  return path == "/" ? HttpResponse{200, "text/html; charset=utf-8", page} : Plain(404, "nothing is here");
}

MetricsServer::Cancel Exporter::StartProbe(const HttpRequest& request, const std::string& query,
                                           MetricsServer::Respond respond) {
  auto parameters = ParametersOf(query);
  auto waiting = std::make_shared<Waiting>(context_, prober_.ProbeOf(parameters["target"], parameters["module"]),
                                           std::move(respond));
  waiting->number = ++lastWaiting_;
  waiting_[waiting->number] = waiting;
  waiting->probe.time = TimeFor(request.scrapeTimeout, longest_);
  waiting->timer.expires_after(waiting->probe.time);
  waiting->ticket = pool_.Subscribe(waiting->probe, [this, waiting](std::shared_ptr<const ProbePool::Result> result) {
    boost::asio::post(context_, [this, waiting, result = std::move(result)] { Complete(waiting, *result); });
  });
  waiting->timer.async_wait([this, waiting](boost::system::error_code error) {
    if (!error) {
      GiveUp(waiting);
    }
  });
  return [this, waiting] { Forget(waiting); };
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
  if (!result.started) {
    return Reply(waiting, Plain(503, "too many readings are in flight (serve.max-in-flight)"));
  }
  Reply(waiting, {200, metricsType, TextOf(waiting->probe, result)});
}

void Exporter::Reply(const std::shared_ptr<Waiting>& waiting, HttpResponse response) {
  if (waiting_.erase(waiting->number) == 1) {
    waiting->timer.cancel();
    ++answered_[{"/probe", response.status}];
    waiting->respond(std::move(response));
  }
}

void Exporter::Stop() {
  const auto waiting = waiting_;
  for (const auto& [number, one] : waiting) {
    Reply(one, Plain(503, "the exporter ends"));
  }
}

}  // namespace Kelvar::Tool::Serve
