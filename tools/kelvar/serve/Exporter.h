#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <boost/asio/io_context.hpp>

#include "tools/kelvar/serve/MetricsServer.h"
#include "tools/kelvar/serve/ProbePool.h"
#include "tools/kelvar/serve/Prober.h"

namespace Kelvar::Tool::Serve {

/// Answers the requests of "kelvar serve": /, /-/healthy, /metrics, /probe. On the server's thread alone.
class Exporter {
 public:
  /// `longest`: of a probe, whose scrape can ask for less.
  Exporter(boost::asio::io_context& context, const Prober& prober, ProbePool& pool, std::chrono::seconds longest);

  /// Gives what ends a probe whose client is gone.
  MetricsServer::Cancel Handle(const HttpRequest& request, MetricsServer::Respond respond);

  /// Answers all who wait for a probe.
  void Stop();

 private:
  struct Waiting;

  HttpResponse Answer(const std::string& path) const;
  MetricsServer::Cancel StartProbe(const HttpRequest& request, const std::string& query,
                                   MetricsServer::Respond respond);
  void GiveUp(const std::shared_ptr<Waiting>& waiting);
  void Complete(const std::shared_ptr<Waiting>& waiting, const ProbePool::Result& result);
  void Reply(const std::shared_ptr<Waiting>& waiting, HttpResponse response);
  void Forget(const std::shared_ptr<Waiting>& waiting);

  boost::asio::io_context& context_;
  const Prober& prober_;
  ProbePool& pool_;
  const std::chrono::seconds longest_;
  std::map<std::size_t, std::shared_ptr<Waiting>> waiting_;
  std::size_t lastWaiting_ = 0;
  std::map<std::pair<std::string, unsigned>, std::size_t> answered_;  ///< by path and status
};

/// How long a probe may take when the scrape's header says `seconds`: a little less, so that the answer arrives in
/// time, and never more than `longest`. Without a number in the header it is `longest`.
std::chrono::milliseconds TimeFor(const std::string& seconds, std::chrono::milliseconds longest);

}  // namespace Kelvar::Tool::Serve
