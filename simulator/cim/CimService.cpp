#include "simulator/cim/CimService.h"

#include <stdexcept>

#include "simulator/cim/RepositoryLoader.h"

namespace Kelvar::Simulator {

namespace {

void Multiply(const std::string& className, std::size_t count, Cim::Repository& repository) {
  bool found = false;
  for (auto& [name, space] : repository.namespaces) {
    Cim::Class* of = space.Find(className);
    if (of != nullptr && !of->instances.empty()) {
      of->count = count;
      found = true;
    }
  }
  if (!found) {
    throw std::runtime_error("no class " + className + " that has instances to copy");
  }
}

/// Lengthens every class with instances that is derived from `base`.
void MultiplyDerived(std::string_view base, std::size_t count, Cim::Repository& repository) {
  for (auto& [name, space] : repository.namespaces) {
    const Cim::Class* of = space.Find(base);
    for (const Cim::Class* derived : of == nullptr ? std::vector<const Cim::Class*>() : space.Family(*of)) {
      if (!derived->instances.empty()) {
        space.Find(derived->name)->count = count;
      }
    }
  }
}

std::shared_ptr<const Cim::Repository> Load(const Machine& machine, const CimOptions& options) {
  Cim::Repository repository = LoadCimData(machine, Variables::Load(machine.folder / "machine.json"));
  for (const auto& [className, count] : options.counts) {
    Multiply(className, count, repository);
  }
  return std::make_shared<const Cim::Repository>(std::move(repository));
}

}  // namespace

Cim::Repository LoadCimData(const Machine& machine, const Variables& variables) {
  Cim::Repository repository = Cim::LoadRepository(machine.folder / "cim", machine.cimFlavour, variables);
  if (machine.logEntries) {
    MultiplyDerived("CIM_LogEntry", *machine.logEntries, repository);
  }
  if (machine.sensors) {
    MultiplyDerived("CIM_NumericSensor", *machine.sensors, repository);
  }
  return repository;
}

CimService::CimService(const Machine& machine, const CimOptions& options) : machine_(machine) {
  faults_.Load(machine_.FaultsOf("cim"), machine_.folder / "cim" / "faults.json");
  server_ = std::make_unique<Cim::CimServer>(machine_, Load(machine_, options), faults_);
  HttpServer::Options http;
  http.latency = machine.latency;
  http.tls = options.tls;
  http.connectionFault = [this](std::string_view stage) { return faults_.Match({}, stage); };
  http_ = std::make_unique<HttpServer>(http, [this](const HttpRequest& request) { return server_->Answer(request); });
}

std::unique_ptr<Service> MakeCimService(const Machine& machine) {
  return std::make_unique<CimService>(machine);
}

std::unique_ptr<Service> MakeCimTlsService(const Machine& machine) {
  return std::make_unique<CimService>(machine, CimOptions{.tls = true});
}

}  // namespace Kelvar::Simulator
