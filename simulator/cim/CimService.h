#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "simulator/cim/CimServer.h"
#include "simulator/http/HttpServer.h"
#include "simulator/machine/Machine.h"
#include "simulator/machine/Variables.h"

namespace Kelvar::Simulator {

struct CimOptions {
  bool tls = false;
  /// How many instances a class is to have: its own over and over, numbered.
  std::map<std::string, std::size_t> counts = {};
};

/// A machine's CIM server: CIM-XML over HTTP or HTTPS.
class CimService : public Service {
 public:
  /// The machine's faults of protocol "cim" are those that FaultTable::Load takes, with names of cim/faults.json.
  /// Throws std::runtime_error or std::invalid_argument with a text for people when the machine has no CIM data or
  /// wrong ones.
  explicit CimService(const Machine& machine, const CimOptions& options = {});

  unsigned short Start(unsigned short port) override { return http_->Start(port); }

  /// Faults may be added while the service runs.
  FaultTable& Faults() { return faults_; }
  /// Connections and requests so far.
  HttpServer::Counts Counted() const { return http_->Counted(); }

 private:
  const Machine machine_;
  FaultTable faults_;
  std::unique_ptr<Cim::CimServer> server_;
  std::unique_ptr<HttpServer> http_;
};

/// What a machine's folder "cim" publishes, with its logs and lists of sensors as long as the machine says. Throws
/// std::runtime_error.
Cim::Repository LoadCimData(const Machine& machine, const Variables& variables);

std::unique_ptr<Service> MakeCimService(const Machine& machine);
std::unique_ptr<Service> MakeCimTlsService(const Machine& machine);

}  // namespace Kelvar::Simulator
