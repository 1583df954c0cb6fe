#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include <boost/asio/io_context.hpp>

#include "tools/kelvar/serve/MetricsServer.h"
#include "tools/kelvar/serve/OwnMetrics.h"
#include "tools/kelvar/serve/ProbePool.h"
#include "tools/kelvar/serve/Prober.h"

namespace Kelvar::Tool::Serve {

/// Answers the requests of "kelvar serve": /, /metrics, /probe, /sd, /-/healthy, /-/ready, /-/reload. On the server's
/// thread alone.
class Exporter {
 public:
  /// Takes the configuration anew. Throws ToolError when it stays as it was.
  using Load = std::function<void()>;

  Exporter(boost::asio::io_context& context, const Prober& prober, ProbePool& pool, Load load);

  /// Gives what ends a probe whose client is gone.
  MetricsServer::Cancel Handle(const HttpRequest& request, const MetricsServer::Respond& respond);

  /// Takes the configuration anew; why it stays as it was, else empty.
  std::string Reload();

  /// Answers all who wait for a probe, and is not ready any more.
  void Stop();

 private:
  struct Waiting;

  /// The last answer for a probe whose module allows data of some age.
  struct Known {
    std::string text;
    std::chrono::steady_clock::time_point end;  ///< of the reading
    double seconds = 0;                         ///< that it took
  };

  HttpResponse Answer(const HttpRequest& request, const std::string& path);
  HttpResponse AnswerPost(const HttpRequest& request, const std::string& path);
  HttpResponse Get(const std::string& path) const;
  MetricsServer::Cancel StartProbe(const HttpRequest& request, const std::string& query,
                                   MetricsServer::Respond respond);
  const Known* KnownOf(const Probe& probe) const;
  void ReadInBackground(Probe probe);
  void Remember(const Probe& probe, const ProbePool::Result& result);
  HttpResponse ResponseOf(const Known& known);
  void Wait(const std::shared_ptr<Waiting>& waiting);
  void GiveUp(const std::shared_ptr<Waiting>& waiting);
  void Complete(const std::shared_ptr<Waiting>& waiting, const ProbePool::Result& result);
  void Reply(const std::shared_ptr<Waiting>& waiting, HttpResponse response);
  void Forget(const std::shared_ptr<Waiting>& waiting);

  boost::asio::io_context& context_;
  const Prober& prober_;
  ProbePool& pool_;
  const Load load_;
  LoadState loaded_;
  bool stopping_ = false;
  std::map<std::size_t, std::shared_ptr<Waiting>> waiting_;
  std::size_t lastWaiting_ = 0;
  std::map<std::pair<std::string, unsigned>, std::size_t> answered_;  ///< by path and status
  std::map<std::string, Known> known_;                                ///< by the probe's key
  std::set<std::string> background_;                                  ///< keys of readings whose end is remembered
  std::size_t answeredWithKnown_ = 0;
};

/// How long a probe may take when the scrape's header says `seconds`: a little less, so that the answer arrives in
/// time, and never more than `longest`. Without a number in the header it is `longest`.
std::chrono::milliseconds TimeFor(const std::string& seconds, std::chrono::milliseconds longest);

}  // namespace Kelvar::Tool::Serve
